#include "diagnostics/CDiagnosticRegistration.h"
#include "diagnostics/CWatchedValue.h"
#include "tests/support/CRecordingLogger.h"

#include <gtest/gtest.h>

#include <optional>

using namespace TKRuntimeLogger;

namespace {

constexpr LogSource kSource{L"TestModule", L"watched_objects_test"};

TEST(WatchedValueTest, EachChangeIsReportedOnceAndByNameAndStoredWithoutALogger) {
    CWatchedValue<bool> flag{kSource, L"Output Pin", L"m_bInfiniteStream", true};
    OnNewThread([&] { flag.Set(false, L"Pin::Set", 1); });
    CPublishedLogger published;
    CWatchedValue<LONG> number{kSource, L"Output Pin", L"", 5};
    DWORD threadId = 0;
    OnNewThread([&] {
        threadId = ::GetCurrentThreadId();
        flag.Set(false, L"Pin::Set", 1);
        flag.Set(true, L"Pin::Set", 2);
        flag.Set(true, L"Pin::Set", 3);
        number.Set(-6, L"Pin::Set", 4);
        flag.Set(false, L"Pin::Set", 5);
    });
    std::vector<LoggedRecord> expected;
    for (const auto& [line, message] : {std::pair{2, L"Output Pin: m_bInfiniteStream = true"},
                                        {4, L"Output Pin = -6"},
                                        {5, L"Output Pin: m_bInfiniteStream = false"}})
        expected.push_back(
            {0, L"TestModule", ::GetCurrentProcessId(), threadId, L"watched_objects_test", line, L"Pin::Set", message});
    EXPECT_EQ(expected, published->Records());
    EXPECT_FALSE(flag);
    EXPECT_EQ(-6, number.Get());
}

TEST(WatchedValueTest, ThreadsThatSetItTogetherReportEachChangeOnce) {
    CPublishedLogger published;
    CWatchedValue<bool> flag{kSource, L"Output Pin", L"flag", false};
    std::vector<std::future<void>> threads(6);
    for (auto& thread : threads)
        thread = std::async(std::launch::async, [&] { OnNewThread([&] { flag.Set(true, L"Pin::Set", 1); }); });
    for (auto& thread : threads)
        thread.get();
    EXPECT_EQ(std::vector<std::wstring>{L"Output Pin: flag = true"}, published->Messages());
}

TEST(DiagnosticRegistrationTest, ListsExactlyTheLiveObjects) {
    int objects[3];
    std::optional<CDiagnosticRegistration> entries[3];
    for (std::size_t i = 0; i < 3; ++i)
        entries[i].emplace(L"TestModule", &objects[i], L"a filter");
    std::vector<const void*> expected{&objects[2], &objects[1], &objects[0]};
    for (const std::size_t gone : {1u, 2u, 0u}) {
        std::vector<const void*> found;
        for (const auto& entry : CDiagnosticRegistration::Snapshot())
            found.push_back(entry.address);
        EXPECT_EQ(expected, found);
        EXPECT_EQ(expected.size(), CDiagnosticRegistration::LiveCount());
        entries[gone].reset();
        std::erase(expected, &objects[gone]);
    }
}

}  // namespace
