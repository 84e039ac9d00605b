// A GET with all its redirects.
//
// Threads: any, one at a time with the same arguments.
#pragma once

#include "dataservices/http/CHttpRequest.h"
#include "dataservices/http/HttpAnswer.h"

#include <memory>
#include <optional>
#include <string>

namespace dataservices::http {

// Where to begin: at `from`, by a range; without it, at the start and without a range. With `validator`, the range is
// only for the version that has it.
struct HttpStart {
    std::optional<ULONGLONG> from;
    std::optional<ULONGLONG> end;  // before which the range ends
    std::wstring validator;
};

// Who asks: the URL that was opened, to whose origin alone some of the options are told.
struct HttpAsker {
    const std::shared_ptr<CHttpSession>& session;
    const CHttpUrl& original;
    const SourceOptions& options;
};

// Asks `url` and follows redirects, at most kMaxRedirects, to http and https and never from https to http. `url`
// becomes the one that answered. Each request is logged, and so is each failure.
//
// S_OK: an answer is there, of whatever status but a redirect.  kHttpRedirectFailed: too many redirects, or one that
// must not be followed.  Otherwise as CHttpRequest::Send.  Throws std::bad_alloc.
[[nodiscard]] HRESULT HttpGet(const HttpAsker& asker, CHttpUrl& url, const HttpStart& start,
                              const base::CDeadline& deadline, std::unique_ptr<CHttpRequest>& request,
                              HttpAnswer& answer, CHttpAbort* abort = nullptr);

}  // namespace dataservices::http
