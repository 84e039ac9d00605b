// What the filter costs, and that it gives all of it back.
#include "tests/filter/CFilterHost.h"
#include "tests/support/CScriptedStream.h"
#include "tests/support/CTempFile.h"
#include "tests/support/CTestApartment.h"
#include "tests/support/CTestSample.h"

#include <memory>
#include <string>
#include <vector>

namespace {

constexpr LONGLONG kKiB = 1024;

// Private memory that is committed in this process, in bytes. Counted by hand: not every platform reports it.
LONGLONG PrivateBytes() {
    LONGLONG total = 0;
    MEMORY_BASIC_INFORMATION region{};
    for (const BYTE* at = nullptr; ::VirtualQuery(at, &region, sizeof(region)) != 0;) {
        if (region.State == MEM_COMMIT && region.Type == MEM_PRIVATE)
            total += static_cast<LONGLONG>(region.RegionSize);
        at = static_cast<const BYTE*>(region.BaseAddress) + region.RegionSize;
        if (at <= static_cast<const BYTE*>(region.BaseAddress))
            break;  // the end of the address space
    }
    return total;
}

// The handles of this process, likewise.
int Handles() {
    int count = 0;
    DWORD flags = 0;
    for (ULONG_PTR value = 4; value < 0x8000; value += 4)
        count += ::GetHandleInformation(reinterpret_cast<HANDLE>(value), &flags) != 0;
    return count;
}

void LoadAndReadAll(const CFilterHost& host, const CTempFile& file) {
    EXPECT_EQ(S_OK, host.As<IFileSourceFilter>()->Load(file.Path().c_str(), nullptr));
    EXPECT_EQ(S_OK, host.As<IDataFlowControl>()->EnableDataFlow());
    BYTE buffer[4096];
    const auto reader = host.Reader();
    for (LONGLONG position = 0; reader->SyncRead(position, sizeof(buffer), buffer) == S_OK;)
        position += sizeof(buffer);
}

TEST(LeakTest, HundredsOfFiltersLeaveNothingBehind) {
    const CTestApartment apartment(COINIT_MULTITHREADED);
    const CTempFile file(std::string(5'000, 'x'));
    CScriptedStream source("xxxxxxxxxx");
    CTestSample sample(4);
    sample.SetRange(2, 6);
    CFilterHost host;
    const auto useFilters = [&](int count) {
        for (int i = 0; i < count; ++i) {
            ASSERT_EQ(S_OK, host.Create());
            LoadAndReadAll(host, file);
            if (i % 4 == 0) {
                EXPECT_EQ(S_OK, host.As<ITavelIStreamFileSource>()->OpenStream(&source, nullptr));
                EXPECT_LT(0u, source.References());
            }
            EXPECT_EQ(S_OK, host.Reader()->Request(&sample, 0));  // nobody fetches it
            EXPECT_EQ("xxxx", sample.Data());
            EXPECT_EQ(0u, host.Release());
            ASSERT_EQ(0u, source.References());
            ASSERT_EQ(0u, sample.References());
        }
    };
    useFilters(50);
    const int handles = Handles();
    const LONGLONG bytes = PrivateBytes();
    EXPECT_LT(0, handles);
    useFilters(1000);
    // The platform may keep a handle or a page of its own; a leak shows hundreds of times.
    EXPECT_GE(handles + 10, Handles());
    EXPECT_GE(bytes + 128 * kKiB, PrivateBytes());
}

TEST(LeakTest, AMillionReadsKeepMemoryFlat) {
    const CTestApartment apartment(COINIT_MULTITHREADED);
    constexpr LONG kPacket = 188;
    constexpr LONGLONG kPackets = 2'000;
    std::string contents;
    for (LONGLONG i = 0; i < kPackets; ++i)
        contents += std::string(kPacket, static_cast<char>(i % 251));
    const CTempFile file(contents);
    CFilterHost host;
    ASSERT_EQ(S_OK, host.Create());
    LoadAndReadAll(host, file);
    const auto reader = host.Reader();
    int wrong = 0;
    const auto readPackets = [&](LONGLONG count) {
        BYTE packet[kPacket];
        for (LONGLONG i = 0; i < count; ++i) {
            wrong += reader->SyncRead(i % kPackets * kPacket, kPacket, packet) != S_OK;
            wrong += packet[0] != i % kPackets % 251 || packet[kPacket - 1] != packet[0];
        }
    };
    readPackets(kPackets);
    const LONGLONG bytes = PrivateBytes();
    readPackets(1'000'000);
    EXPECT_EQ(0, wrong);
    EXPECT_GE(bytes + 64 * kKiB, PrivateBytes());
}

TEST(LeakTest, ALoadedFilterTakesAtMost300KiBMoreThanAnIdleOne) {
    const CTestApartment apartment(COINIT_MULTITHREADED);
    const CTempFile file(std::string(400'000, 'x'));
    std::vector<std::unique_ptr<CFilterHost>> hosts;
    for (int i = 0; i < 41; ++i) {
        ASSERT_EQ(S_OK, hosts.emplace_back(std::make_unique<CFilterHost>())->Create());
    }
    LoadAndReadAll(*hosts.back(), file);  // what the platform sets up once
    hosts.pop_back();
    const LONGLONG idle = PrivateBytes();
    for (const auto& host : hosts)
        LoadAndReadAll(*host, file);
    const LONGLONG each = (PrivateBytes() - idle) / static_cast<LONGLONG>(hosts.size());
    EXPECT_GE(300 * kKiB, each);
    EXPECT_LT(64 * kKiB, each) << "the measurement sees the read buffer";
}

}  // namespace
