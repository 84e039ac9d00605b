// What the connections of an http source know together, and what its streams tell of it.
//
// Threads: any.  Errors: std::bad_alloc.
#pragma once

#include "base/CSlimLock.h"
#include "dataservices/SourceOptions.h"
#include "dataservices/http/CHttpUrl.h"
#include "dataservices/http/CHttpVersion.h"
#include "dataservices/http/HttpResults.h"
#include "dataservices/http/HttpTime.h"
#include "dataservices/store/ISourceDescription.h"

#include <atomic>
#include <mutex>
#include <utility>

namespace dataservices::http {

class HttpSource final : public store::ISourceDescription {
public:
    HttpSource(CHttpUrl given, SharedOptions settings)
        : original(std::move(given)), options(std::move(settings)), silenceMs(options->silenceMs), url(original) {}

    // ISourceDescription
    [[nodiscard]] std::wstring Name() const override { return original.Printable(); }
    void Describe(STATSTG* stat) const override {
        const std::lock_guard guard(lock);
        stat->mtime = FileTimeOf(version.LastModified());
        stat->grfMode = STGM_READ | STGM_SHARE_DENY_NONE;
    }
    [[nodiscard]] DWORD ReadLimitMs() const noexcept override { return options->readMs; }
    [[nodiscard]] HRESULT TimedOut() const noexcept override { return kHttpTimeout; }
    [[nodiscard]] DWORD SilenceLimitMs() const noexcept override { return silenceMs; }
    void SetSilenceLimitMs(DWORD ms) noexcept override { silenceMs = ms; }

    [[nodiscard]] bool IsStation() const noexcept {
        const std::lock_guard guard(lock);
        return version.IsStation();
    }

    const CHttpUrl original;
    const SharedOptions options;
    std::atomic<DWORD> silenceMs;
    mutable base::CSlimLock lock;  // guards the next two; a leaf
    CHttpUrl url;                  // after all redirects
    CHttpVersion version;
};

}  // namespace dataservices::http
