// The other process of the tests: logger_peer PARENT EVENT COMMAND.  See CLoggerPeer.h.
#include "base/CApartment.h"
#include "base/CAutoDestructor.h"
#include "diagnostics/CTKRuntimeLoggerAPI.h"
#include "logview/CLogSink.h"
#include "logview/CRingReader.h"
#include "tests/support/CRecordingLogger.h"

#include <cwchar>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

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

// The same with a channel. Records of a thread must come in order, with the number of those before as their line.
void ServeChannel(HANDLE parent, HANDLE ready) {
    const base::CApartment apartment(COINIT_MULTITHREADED);
    const auto queue = std::make_shared<logview::CRecordQueue>(4'000'000, std::size_t{256} << 20);
    const auto readers = std::make_shared<logview::CRingReaders>(queue);
    std::mutex lock;  // guards what follows
    LONG count = 0, wrong = 0;
    std::map<ULONG, LONG> next;
    const auto take = [&] {
        for (const logview::Arrival& arrival : queue->Take(0)) {
            if (const auto* const record = std::get_if<logview::LogRecord>(&arrival.record)) {
                wrong += record->line != next[record->threadId]++;
                Obey(record->message);
            }
            ++count;
        }
    };
    logview::CLogSink::Services services;
    services.ask = [&](const logview::Question& question) {
        Obey(question.record.message);
        if (question.record.message == L"channels")
            return static_cast<LONG>(readers->Count());
        const std::lock_guard guard(lock);
        take();
        return question.record.message == L"wrong" ? wrong + static_cast<LONG>(queue->Lost()) : count;
    };
    services.openChannel = [&](ULONG process, const std::wstring& name) { return readers->Open(process, name); };
    Microsoft::WRL::ComPtr<logview::CLogSink> sink;
    static_cast<void>(logview::CLogSink::Create(queue, services, &sink));
    const CPublication published(static_cast<ITKRuntimeLogger*>(sink.Get()));
    ::SetEvent(ready);
    while (::WaitForSingleObject(parent, 25) == WAIT_TIMEOUT) {
        readers->Poll();
        const std::lock_guard guard(lock);
        take();
    }
}

// Writes `count` records from each of `threads` threads to what is published, and ends the hard way.
void Write(HANDLE ready, LONG count, int threads) {
    std::vector<std::jthread> running;
    for (int i = 0; i < threads; ++i) {
        running.emplace_back([&] {
            const base::CApartment apartment(COINIT_MULTITHREADED);
            TKRuntimeLogger::CTKRuntimeLoggerAPI api(nullptr);
            for (LONG line = 0; line < count; ++line)
                api.Log(1, L"category", L"SourceFile", line, L"CClass::Function",
                        L"a message of usual length, for a log");
        });
    }
    running.clear();
    ::SetEvent(ready);
    ::TerminateProcess(::GetCurrentProcess(), 0);
}

}  // namespace

int wmain(int count, wchar_t** arguments) {
    if (count < 4)
        return 2;
    const base::CAutoHandle parent(::OpenProcess(SYNCHRONIZE, FALSE, std::wcstoul(arguments[1], nullptr, 10)));
    const base::CAutoHandle ready(::OpenEventW(EVENT_MODIFY_STATE, FALSE, arguments[2]));
    const std::wstring_view command = arguments[3];
    if (command == L"wait") {
        ::SetEvent(ready.Get());
        ::WaitForSingleObject(parent.Get(), INFINITE);
    }
    if (command == L"serve")
        Serve(parent.Get(), ready.Get());
    if (command == L"serve-channel")
        ServeChannel(parent.Get(), ready.Get());
    if (command == L"write" && count == 6)
        Write(ready.Get(), std::wcstol(arguments[4], nullptr, 10),
              static_cast<int>(std::wcstol(arguments[5], nullptr, 10)));
    return 0;
}
