// What the hang detector writes to the log.
#include "diagnostics/CHangDetector.h"
#include "diagnostics/CTimingScope.h"
#include "tests/support/Await.h"
#include "tests/support/CRecordingLogger.h"

#include <gtest/gtest.h>

using namespace TKRuntimeLogger;

namespace {

constexpr LogSource kSource{L"TestModule", L"HangRecordTest"};

// Waits until that many records have come.
std::vector<LoggedRecord> Await(const CPublishedLogger& logger, std::size_t count) {
    ::Await([&] { return logger->Records().size() >= count; });
    return logger->Records();
}

// The message with a star for each time, which no test knows, and a T for this thread.
std::wstring Shape(const std::wstring& message) {
    std::wstring shape;
    for (const wchar_t character : message) {
        if (character < L'0' || character > L'9')
            shape += character;
        else if (shape.empty() || shape.back() != L'*')
            shape += L'*';
    }
    const auto thread = shape.rfind(L"thread *");
    if (thread != shape.npos && message.find(L"thread " + std::to_wstring(::GetCurrentThreadId())) != message.npos)
        shape[thread + 7] = L'T';
    return shape;
}

void InAScope(const CPublishedLogger& logger) {
    TK_PROFILE(kSource, L"InAScope", L"inner");
    Await(logger, 1);
}

TEST(HangRecordTest, TellsOfAHangOnceAndOnceThatItIsOver) {
    CPublishedLogger logger;
    OnNewThread([&] {
        {
            TK_PROFILE(kSource, L"Outer", L"");
            constexpr LONG kLine = __LINE__ + 1;
            CHangDetector activity(kSource, __LINE__, L"Copy", 1, [] { return std::wstring(L"copying"); });
            InAScope(logger);
            const LoggedRecord record = logger->Records().front();
            EXPECT_EQ((LoggedRecord{kWarn, L"TestModule", ::GetCurrentProcessId(), record.threadId, L"HangRecordTest",
                                    kLine, L"Copy", record.message}),
                      record);
            EXPECT_EQ(L"Hangs for * ms: copying (thread T, in InAScope (inner))", Shape(record.message));
            activity.KeepAlive();
            EXPECT_EQ(L"Goes on after * ms: copying (thread T)", Shape(Await(logger, 2).back().message));
            EXPECT_EQ(L"Hangs for * ms: copying (thread T, in Outer)", Shape(Await(logger, 3).back().message));
        }
        const auto records = Await(logger, 4);
        EXPECT_EQ(L"Goes on after * ms: copying (thread T)", Shape(records.back().message)) << "it has ended";
        EXPECT_EQ(4u, records.size());
    });
}

}  // namespace
