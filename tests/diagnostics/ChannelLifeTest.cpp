// What a channel makes of a service's end of it: one that lives, takes slowly, shows no life, closes or is gone. Here
// the test is that end, and another process stands for the service's.
#include "base/AwakeTime.h"
#include "diagnostics/CRecordChannel.h"
#include "tests/diagnostics/CLoggerPeer.h"
#include "tests/support/CTestObject.h"

#include <functional>
#include <thread>
#include <utility>

using namespace TKRuntimeLogger;
using Result = CRecordChannel::Result;

namespace {

class CService final : public CTestObject<ITKRuntimeLoggerChannel> {
public:
    ULONG processId = 0;
    int opened = 0;
    std::function<void()> whileOpening;    // once
    RecordRing::Header* header = nullptr;  // of the newest channel

    ~CService() override {
        if (header)
            ::UnmapViewOfFile(header);
    }
    STDMETHODIMP GetServiceProcess(ULONG* id) override { return *id = processId, S_OK; }
    STDMETHODIMP OpenChannel(ULONG, BSTR name) override {
        ++opened;
        const base::CAutoHandle section(::OpenFileMappingW(FILE_MAP_WRITE, FALSE, name));
        if (header)
            ::UnmapViewOfFile(header);
        header = static_cast<RecordRing::Header*>(::MapViewOfFile(section.Get(), FILE_MAP_WRITE, 0, 0, 0));
        if (const auto meanwhile = std::exchange(whileOpening, {}))
            meanwhile();
        return header ? S_OK : E_FAIL;
    }
};

struct ChannelLifeTest : ::testing::Test {
    CLoggerPeer process{L"wait"};
    CService service;
    std::shared_ptr<CRecordChannel> channel;

    void SetUp() override {
        service.processId = process.Id();
        channel = CRecordChannel::To(service);
        ASSERT_TRUE(channel && service.header);
    }
    // The last sign of life was so long ago.
    void LookedBefore(DWORD ms) { service.header->heartbeatMs = static_cast<std::uint32_t>(base::AwakeMs()) - ms; }
    void TakeAll() { service.header->taken = service.header->written.load(); }
    Result Write(std::size_t characters) {
        RecordRing::RecordHead head{};
        head.kind = RecordRing::Log;
        return channel->Write(head, nullptr, nullptr, nullptr, std::wstring(characters, L'x').c_str());
    }
    // The first result that isn't Done.
    Result Fill() {
        Result result = Result::Done;
        for (int i = 0; i < 100 && result == Result::Done; ++i)
            result = Write(50'000);
        return result;
    }
    // Looks again and again without taking anything, for as long as it lives.
    std::jthread Looking() {
        const std::uint32_t before = service.header->heartbeatMs;
        std::jthread looking([this](const std::stop_token& stop) {
            for (; !stop.stop_requested(); ::Sleep(5))
                ++service.header->heartbeatMs;
        });
        Await([&] { return service.header->heartbeatMs != before; });
        return looking;
    }
};

TEST_F(ChannelLifeTest, OnlyAServiceThatIsThereAndShowsNoLifeHangs) {
    EXPECT_FALSE(CRecordChannel::IsServiceHung());
    LookedBefore(3'600'000);
    {
        const auto looking = Looking();
        EXPECT_FALSE(CRecordChannel::IsServiceHung()) << "the clock has jumped";
    }
    const ULONGLONG began = ::GetTickCount64();
    EXPECT_TRUE(CRecordChannel::IsServiceHung());
    const ULONGLONG found = ::GetTickCount64();
    for (int i = 0; i < 100; ++i)
        EXPECT_TRUE(CRecordChannel::IsServiceHung());
    EXPECT_LE(::GetTickCount64() - found, 50 * (found - began)) << "each one looks anew";
    EXPECT_EQ(channel, CRecordChannel::To(service));
    LookedBefore(0);
    EXPECT_FALSE(CRecordChannel::IsServiceHung()) << "it goes on";
    LookedBefore(3'600'000);
    EXPECT_TRUE(CRecordChannel::IsServiceHung());
    process.Kill();
    EXPECT_FALSE(CRecordChannel::IsServiceHung());
    EXPECT_EQ(Result::Gone, Write(1));
}

TEST_F(ChannelLifeTest, IsOneForAllThreadsThatOpenItAtOnce) {
    service.header->readerClosed = 1;
    const int before = service.opened;
    std::shared_ptr<CRecordChannel> first, second;
    service.whileOpening = [&] { second = CRecordChannel::To(service); };
    first = CRecordChannel::To(service);
    EXPECT_EQ(before + 2, service.opened) << "the second was opened while the first was";
    EXPECT_TRUE(first);
    EXPECT_EQ(first, second);
}

TEST_F(ChannelLifeTest, OneThatHasClosedDoesNotHangAndCanBeHadAgain) {
    LookedBefore(3'600'000);
    service.header->readerClosed = 1;
    EXPECT_FALSE(CRecordChannel::IsServiceHung());
    const auto next = CRecordChannel::To(service);
    EXPECT_TRUE(next && next != channel);
    EXPECT_EQ(2, service.opened);
    EXPECT_EQ(Result::Gone, Write(1));
}

TEST_F(ChannelLifeTest, AServiceWhoseEndCouldNotBeSeenGetsNone) {
    service.processId = 0;
    EXPECT_FALSE(CRecordChannel::To(service));
    EXPECT_EQ(1, service.opened);
}

TEST_F(ChannelLifeTest, WithoutRoomALivingServiceIsCalledAndADeadOneIsLeft) {
    EXPECT_EQ(Result::NeedsCall, Write(200'000)) << "others would take its room again and again";
    {
        const auto looking = Looking();
        EXPECT_EQ(Result::NeedsCall, Fill());
    }
    EXPECT_EQ(Result::Hangs, Write(50'000));
    EXPECT_EQ(Result::Hangs, channel->AwaitTaken());
    LookedBefore(0);
    {
        const auto looking = Looking();
        const std::jthread taking([this] {
            ::Sleep(1500);  // longer than one that shows no life is waited for
            TakeAll();
        });
        EXPECT_EQ(Result::Done, channel->AwaitTaken());
    }
    EXPECT_EQ(Result::Done, Write(50'000));
    TakeAll();
    LookedBefore(3'600'000);
    EXPECT_EQ(Result::Hangs, channel->AwaitTaken()) << "a call would wait for it for ever";
    service.header->taken = 4'000'000'000;
    EXPECT_EQ(Result::Gone, Write(1)) << "it claims what can't be";
}

}  // namespace
