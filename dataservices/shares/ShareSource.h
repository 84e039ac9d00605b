// What the connections of a file on a share know together, and what its streams tell of it.
//
// Threads: any.  Errors: std::bad_alloc.
#pragma once

#include "base/CSlimLock.h"
#include "dataservices/FilePath.h"
#include "dataservices/SourceOptions.h"
#include "dataservices/shares/CShareFile.h"
#include "dataservices/store/ISourceDescription.h"

#include <atomic>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

namespace dataservices::shares {

// How the file was opened, so that it can be opened in the same way again.
struct Opening {
    FilePath path;
    DWORD mode;  // kTKFStream bits
    SharedOptions options;
};

class ShareSource final {
public:
    // `stat`: of `first`, when it was opened.
    ShareSource(Opening how, CShareFile::File first, const STATSTG& stat)
        : opening(std::move(how)), facts(stat), m_first(std::move(first)) {}

    // The file of one more connection; that of the first one is open.
    [[nodiscard]] std::shared_ptr<CShareFile> AddFile() {
        const std::lock_guard guard(m_lock);
        m_files.push_back(std::make_shared<CShareFile>(std::exchange(m_first, nullptr)));
        return m_files.back();
    }

    // All files are closed, without a wait.
    void Release() noexcept {
        const std::lock_guard guard(m_lock);
        m_first.Reset();
        for (const auto& file : m_files)
            file->Release();
    }

    // It is the file that was opened, unchanged.
    [[nodiscard]] bool IsAsOpened(const STATSTG& stat) const noexcept {
        return stat.cbSize.QuadPart == facts.cbSize.QuadPart && ::CompareFileTime(&stat.mtime, &facts.mtime) == 0;
    }

    const Opening opening;
    const STATSTG facts;

private:
    base::CSlimLock m_lock;  // guards the next two; before a file's
    CShareFile::File m_first;
    std::vector<std::shared_ptr<CShareFile>> m_files;
};

// Goes with the last stream; the file is then free for others, though a connection may still be waiting.
class ShareDescription final : public store::ISourceDescription {
public:
    explicit ShareDescription(std::shared_ptr<ShareSource> source)
        : m_source(std::move(source)), m_silenceMs(m_source->opening.options->silenceMs) {}
    ShareDescription(const ShareDescription&) = delete;
    ShareDescription& operator=(const ShareDescription&) = delete;
    ~ShareDescription() override { m_source->Release(); }

    // ISourceDescription
    [[nodiscard]] std::wstring Name() const override { return m_source->opening.path.readable; }
    void Describe(STATSTG* stat) const override {
        stat->mtime = m_source->facts.mtime;
        stat->ctime = m_source->facts.ctime;
        stat->atime = m_source->facts.atime;
        stat->grfMode = m_source->facts.grfMode;
    }
    [[nodiscard]] DWORD ReadLimitMs() const noexcept override { return m_source->opening.options->readMs; }
    [[nodiscard]] HRESULT TimedOut() const noexcept override { return HRESULT_FROM_WIN32(ERROR_SEM_TIMEOUT); }
    // The platform alone decides how long it waits for a share.
    [[nodiscard]] DWORD SilenceLimitMs() const noexcept override { return m_silenceMs; }
    void SetSilenceLimitMs(DWORD ms) noexcept override { m_silenceMs = ms; }

private:
    const std::shared_ptr<ShareSource> m_source;
    std::atomic<DWORD> m_silenceMs;
};

}  // namespace dataservices::shares
