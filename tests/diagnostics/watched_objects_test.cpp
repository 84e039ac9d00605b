#include "diagnostics/CDiagnosticRegistration.h"
#include "diagnostics/CWatchedValue.h"
#include "tests/support/CRecordingLogger.h"

#include <gtest/gtest.h>

#include <optional>

using namespace TKRuntimeLogger;

namespace {

constexpr LogSource kSource{L"TestModule", L"watched_objects_test"};

TEST(WatchedValueTest, EachChangeIsReportedOnceAndByName) {
    CPublishedLogger published;
    CWatchedValue<bool> flag{kSource, L"Output Pin", L"m_bInfiniteStream", false};
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
    const auto record = [&](LONG line, const wchar_t* message) {
        return LoggedRecord{
            0, L"TestModule", ::GetCurrentProcessId(), threadId, L"watched_objects_test", line, L"Pin::Set", message};
    };
    EXPECT_EQ((std::vector{record(2, L"Output Pin: m_bInfiniteStream = true"), record(4, L"Output Pin = -6"),
                           record(5, L"Output Pin: m_bInfiniteStream = false")}),
              published->Records());
    EXPECT_FALSE(flag);
    EXPECT_EQ(-6, number.Get());
}

TEST(WatchedValueTest, ValueIsStoredWithoutALogger) {
    CWatchedValue<bool> flag{kSource, L"Output Pin", L"m_bAsyncReaderChecked", false};
    OnNewThread([&] { flag.Set(true, L"Pin::Set", 1); });
    EXPECT_TRUE(flag);
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
    const std::size_t before = CDiagnosticRegistration::LiveCount();
    const auto addresses = [] {
        std::vector<const void*> found;
        for (const auto& entry : CDiagnosticRegistration::Snapshot())
            found.push_back(entry.address);
        return found;
    };
    std::optional<CDiagnosticRegistration> entries[3];
    for (std::size_t i = 0; i < 3; ++i)
        entries[i].emplace(L"TestModule", &objects[i], L"a filter");
    EXPECT_EQ(before + 3, CDiagnosticRegistration::LiveCount());
    EXPECT_EQ(L"TestModule", CDiagnosticRegistration::Snapshot()[0].category);
    EXPECT_EQ(L"a filter", CDiagnosticRegistration::Snapshot()[0].description);
    EXPECT_EQ((std::vector<const void*>{&objects[2], &objects[1], &objects[0]}), addresses());
    entries[1].reset();
    EXPECT_EQ((std::vector<const void*>{&objects[2], &objects[0]}), addresses());
    entries[2].reset();
    EXPECT_EQ((std::vector<const void*>{&objects[0]}), addresses());
    entries[0].reset();
    EXPECT_EQ(before, CDiagnosticRegistration::LiveCount());
}

}  // namespace
