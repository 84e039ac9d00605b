// The other process of the tests: logger_peer PARENT EVENT serve.  See CLoggerPeer.h.
#include "base/CApartment.h"
#include "base/CAutoDestructor.h"
#include "tests/support/CRecordingLogger.h"

#include <cwchar>
#include <string>
#include <string_view>

namespace {

void Obey(std::wstring_view message) {
    if (message == L"die")
        ::TerminateProcess(::GetCurrentProcess(), 7);
    if (message == L"slow")
        ::Sleep(1200);
}

// Publishes a service until the parent process ends.
void Serve(HANDLE parent, HANDLE ready) {
    auto logger = CRecordingLogger::Create();
    logger->offersQuestion = true;
    logger->onAsk = [&](const LoggedRecord& question) {
        Obey(question.message);
        return static_cast<LONG>(logger->Records().size());
    };
    logger->onCall = [&] {
        if (const auto messages = logger->Messages(); !messages.empty())
            Obey(messages.back());
        return S_OK;
    };
    const CPublishedLogger published(logger);
    ::SetEvent(ready);
    ::WaitForSingleObject(parent, INFINITE);
}

}  // namespace

int wmain(int count, wchar_t** arguments) {
    if (count < 4)
        return 2;
    const base::CAutoHandle parent(::OpenProcess(SYNCHRONIZE, FALSE, std::wcstoul(arguments[1], nullptr, 10)));
    const base::CAutoHandle ready(::OpenEventW(EVENT_MODIFY_STATE, FALSE, arguments[2]));
    if (std::wstring_view(arguments[3]) == L"serve")
        Serve(parent.Get(), ready.Get());
    return 0;
}
