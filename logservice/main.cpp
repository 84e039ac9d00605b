// TKRuntimeLogger: the logging service of the Tavel media components.
#include "base/LateLoad.h"
#include "base/Utf8Text.h"
#include "console/CCommandError.h"
#include "console/CConsole.h"
#include "logservice/CTurn.h"
#include "logservice/Open.h"
#include "logservice/Options.h"
#include "logservice/Registration.h"
#include "logservice/Serve.h"
#include "logservice/Tell.h"

#include <exception>

using namespace logservice;

namespace {

constexpr int kWrongUsage = 2;
// A page of a large log, on a busy machine.
constexpr DWORD kEndsWithinMs = 60'000;

void CheckRegistration(HRESULT result, const wchar_t* step) {
    if (FAILED(result))
        throw console::CCommandError(step, result)
            .Advise(result == E_ACCESSDENIED ? L"an administrator may"
                                             : L"what was registered before may be gone; the same again mends it");
}

int TakeBack() {
    std::wstring other;
    CheckRegistration(Unregister(&other), L"Cannot take the registration back");
    if (!other.empty())
        Tell(other + L" is registered, not this program, and stays so.");
    return 0;
}

int Stop() {
    const HRESULT hr = EndRunningService(kEndsWithinMs);
    console::Check(hr, L"Cannot end the service");
    if (hr == S_FALSE)
        Tell(L"No service runs in this session.");
    return 0;
}

int Run(const Options& options) {
    switch (options.action) {
        case Options::Action::Register:
            CheckRegistration(Register(), L"Cannot register");
            return 0;
        case Options::Action::Unregister:
            return TakeBack();
        case Options::Action::Stop:
            return Stop();
        case Options::Action::Open:
            return Open(options);
        case Options::Action::Serve:
            break;
    }
    return Serve(options);
}

}  // namespace

int wmain(int count, wchar_t** words) {
    base::SearchLibrariesSafely();
    int failure = kWrongUsage;
    try {
        const std::optional<Options> options = ParseOptions({words + 1, words + count});
        failure = kFailed;
        return options ? Run(*options) : 0;
    } catch (const console::CCommandError& error) {
        Tell(error.Text());
    } catch (const console::COutputError& error) {
        failure = kFailed;
        if (!error.IsClosedPipe())
            Tell(L"Cannot write the output: " + console::ResultText(HRESULT_FROM_WIN32(error.Error())));
    } catch (const std::exception& error) {
        failure = kFailed;
        Tell(base::WideOfUtf8(error.what()));
    }
    return failure;
}
