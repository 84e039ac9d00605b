// A client of the published logging service, for tests that need it as a process of its own.
//
//   log_client mta|sta every            each method once; prints the question's answer
//   log_client mta|sta flood N          N records, numbered from 0; prints how many were taken, and the time
//   log_client mta|sta front N [EACH]   the same by the front end; pauses for 1 ms behind each EACH of them
//   log_client mta|sta odd              records that are awkward to show
//   log_client mta|sta dump             one dump
//   log_client mta|sta dumpnone N       N dumps of a process that isn't there; prints how many were made
//
// Its exit code is 0 when every call succeeded; otherwise the result is printed. 3: no service was found.
#include "TKRuntimeLogger.h"
#include "base/CApartment.h"
#include "base/CBstr.h"
#include "diagnostics/PublishedService.h"
#include "diagnostics/TKRuntimeLoggerAPI.h"

#include <objbase.h>
#include <wrl/client.h>

#include <climits>
#include <cstdio>
#include <string>
#include <string_view>

using Microsoft::WRL::ComPtr;

namespace {

struct Client {
    ComPtr<IUnknown> service;
    ComPtr<ITKRuntimeLogger> logger;
    HRESULT result = S_OK;  // the first failure

    bool Find() {
        service = TKRuntimeLogger::PublishedService();
        return service && SUCCEEDED(service.As(&logger));
    }
    void Note(HRESULT hr) { result = SUCCEEDED(result) ? hr : result; }
    void Log(LONG severity, const base::CBstr& message) {
        const base::CBstr category(L"TestClient"), file(L"LogClient"), function(L"Client::Log");
        Note(logger->Log(severity, category.Get(), ::GetCurrentProcessId(), ::GetCurrentThreadId(), file.Get(), -12,
                         function.Get(), message.Get()));
    }
};

void Every(Client& client) {
    const DWORD process = ::GetCurrentProcessId();
    const base::CBstr category(L"cat"), file(L"file"), function(L"func"), none(nullptr), empty(L"");
    client.Note(client.logger->Log(7, category.Get(), process, 0xFFFFFFFF, none.Get(), -1, empty.Get(), none.Get()));
    client.Note(client.logger->LogProfile(0, base::CBstr(L"PROFILE").Get(), process, file.Get(), 5, function.Get(),
                                          none.Get(), 0x1234567890, 0.0, 0.25, 1.5));
    client.Note(client.logger->LogExplicit(2, category.Get(), 0xFFFFFFFE, 4, file.Get(), 5, 0xFFFFFFFD, function.Get(),
                                           base::CBstr(L"explicit").Get(), VARIANT_TRUE));
    ComPtr<ITKRuntimeLoggerQuestion> questions;
    LONG answer = 0;
    client.Note(client.service.As(&questions));
    if (questions)
        client.Note(questions->AskQuestion(1, category.Get(), process, 1, file.Get(), 5, function.Get(),
                                           base::CBstr(L"go on?").Get(), base::CBstr(L"second").Get(), -77, &answer));
    std::printf("answer %ld\n", answer);
}

void Odd(Client& client) {
    client.Log(0, base::CBstr(std::wstring(32 * 1024, L'x').c_str()));
    client.Log(1, base::CBstr(L"two\r\nlines\tand\x1B[31m a colour"));
    client.Log(2, base::CBstr(nullptr));
    client.Log(3, base::CBstr(L""));
    client.Log(4, base::CBstr(L"half \xD800 a pair"));
    client.Log(-7, base::CBstr(L"SEV: 1, CAT: x, MSG: not a line of its own"));
    client.Log(0x7FFFFFFF, base::CBstr(L"last"));
}

void Dump(Client& client) {
    ComPtr<ITKRuntimeLoggerDump> dumps;
    client.Note(client.service.As(&dumps));
    if (dumps)
        client.Note(dumps->LogWithDump(4, base::CBstr(L"cat").Get(), ::GetCurrentProcessId(), ::GetCurrentThreadId(),
                                       base::CBstr(L"file").Get(), 5, base::CBstr(L"func").Get(),
                                       base::CBstr(L"crashed").Get()));
}

void DumpNone(Client& client, int count) {
    constexpr ULONG kNoProcess = 0xFFFFFFF0;
    ComPtr<ITKRuntimeLoggerDump> dumps;
    client.Note(client.service.As(&dumps));
    int made = 0;
    for (int i = 0; dumps && i < count; ++i)
        made += SUCCEEDED(dumps->LogWithDump(4, nullptr, kNoProcess, 0, nullptr, 0, nullptr, nullptr)) ? 1 : 0;
    std::printf("made %d\n", made);
}

void Flood(Client& client, int records) {
    const ULONGLONG begun = ::GetTickCount64();
    int taken = 0;
    for (; taken < records && SUCCEEDED(client.result); taken += SUCCEEDED(client.result) ? 1 : 0)
        client.Log(1, base::CBstr(std::to_wstring(taken).c_str()));
    std::printf("taken %d\ntook %d ms\n", taken, static_cast<int>(::GetTickCount64() - begun));
}

void Front(int records, int each) {
    static constexpr TKRuntimeLogger::LogSource kSource{L"TestClient", L"LogClient"};
    const ULONGLONG begun = ::GetTickCount64();
    for (int i = 0; i < records; ++i) {
        TK_LOG(kSource, 1, L"Front", L"%d", i);
        if (i % each == each - 1)
            ::Sleep(1);
    }
    std::printf("took %d ms\n", static_cast<int>(::GetTickCount64() - begun));
}

}  // namespace

int main(int count, char** words) {
    if (count < 3)
        return 2;
    const std::string_view apartmentName = words[1], what = words[2];
    const base::CApartment apartment(apartmentName == "sta" ? COINIT_APARTMENTTHREADED : COINIT_MULTITHREADED);
    if (what == "front" && count >= 4) {
        Front(std::atoi(words[3]), count > 4 ? std::atoi(words[4]) : INT_MAX);
        return 0;
    }
    Client client;
    if (!client.Find()) {
        std::printf("no service\n");
        return 3;
    }
    if (what == "every")
        Every(client);
    else if (what == "odd")
        Odd(client);
    else if (what == "dump")
        Dump(client);
    else if (what == "dumpnone" && count == 4)
        DumpNone(client, std::atoi(words[3]));
    else if (what == "flood" && count >= 4)
        Flood(client, std::atoi(words[3]));
    else
        return 2;
    std::printf("result 0x%08lX\n", static_cast<unsigned long>(client.result));
    return SUCCEEDED(client.result) ? 0 : 1;
}
