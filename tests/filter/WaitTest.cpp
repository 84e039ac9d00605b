// Reads that wait for a network are given up by whatever stops them, at once and silently; the graph hears of long
// waits.
#include "tests/filter/WaitTest.h"

#include <functional>
#include <random>

namespace {

// The four ways to read bytes 5 to 9, of which none is here.
struct Way {
    const char* what;
    std::function<Got(WaitTest&)> read;
    Got givenUp, flushed = givenUp;
};
const Way kWays[] = {
    {"SyncRead", [](WaitTest& test) { return SyncRead(test.pin, 5, 4); }, {S_FALSE, "...."}},
    {"SyncReadAligned",
     [](WaitTest& test) {
         const HRESULT hr = test.pin.SyncReadAligned(&test.sample);
         return Got(hr, test.sample.Data());
     },
     {S_FALSE, ""}},
    {"Request",
     [](WaitTest& test) {
         test.sample.actualLength = 0;
         const HRESULT hr = test.pin.Request(&test.sample, 0);
         IMediaSample* next = nullptr;
         DWORD_PTR user = 0;
         if (hr == S_OK && test.pin.WaitForNext(0, &next, &user) == S_OK)
             next->Release();
         return Got(hr, test.sample.Data());
     },
     {kEndOfFile, ""},
     {VFW_E_WRONG_STATE, ""}},
    {"Read",
     [](WaitTest& test) {
         ULARGE_INTEGER position{};
         EXPECT_EQ(S_OK, test.pin.Seek({.QuadPart = 5}, STREAM_SEEK_SET, &position));
         char bytes[5]{};
         ULONG count = 9;
         const HRESULT hr = test.pin.Read(bytes, 4, &count);
         return Got(hr, std::string(bytes, count));
     },
     {E_ABORT, ""}},
};

TEST_F(WaitTest, WhatStopsAReadThatWaitsEndsItAtOnce) {
    const struct {
        const char* what;
        std::function<HRESULT()> end, undo;
        HRESULT result = S_OK;
        bool isNewSource = false;
    } enders[] = {
        {"a flush", [&] { return pin.BeginFlush(); }, [&] { return pin.EndFlush(); }},
        {"a stop", [&] { return filter->Stop(); }, [] { return S_OK; }},
        {"a disconnection", [&] { return pin.Disconnect(); }, [] { return S_OK; }, S_FALSE},
        {"AbortOperation", [&] { return filter->AbortOperation(); }, [&] { return Resume(); }},
        {"a stream", [&] { return filter->OpenStream(&other, &kWave); }, [] { return S_OK; }, S_OK, true},
        {"a name", [&] { return filter->Load(file.Path().c_str(), &kWave); }, [] { return S_OK; }, S_OK, true},
        {"a name that can't be opened",
         [&] { return filter->Load(L"C:\\tvt\\missing", &kWave) == S_OK ? E_FAIL : S_OK; }, [] { return S_OK; }},
    };
    for (const auto& ender : enders) {
        for (const Way& way : kWays) {
            SCOPED_TRACE(std::string(way.what) + ", " + ender.what);
            source.HaveControl(3);
            ASSERT_EQ(S_OK, filter->OpenStream(&source, &kWave));
            static_cast<void>(source.TakeAwaits());
            {
                const CSecondCall reader(
                    [&] { EXPECT_EQ(&ender == enders ? way.flushed : way.givenUp, way.read(*this)); });
                ASSERT_TRUE(source.WaitUntilWaiting());
                const CSecondCall question([&] {
                    LONGLONG total = 0, available = 0;
                    EXPECT_TRUE(pin.Length(&total, &available) == S_OK && total == 10);
                    STATSTG stat{};
                    EXPECT_EQ(S_OK, pin.Stat(&stat, STATFLAG_NONAME));
                });
                question.AwaitEnd();  // no lock is held meanwhile
                EXPECT_EQ(ender.result, ender.end());
                reader.AwaitEnd();
            }
            EXPECT_EQ((std::vector<Stream::Awaited>{{5, 4, 300}, {5, 4, 1000}}), source.TakeAwaits());
            EXPECT_EQ(kBuffering, filter.graph.TakeEvents());
            EXPECT_EQ(S_OK, ender.undo());
            EXPECT_EQ(ender.isNewSource, source.AreReadsGivenUp()) << "nobody waits for a source that is gone";
            source.HaveControl(10);
            EXPECT_EQ(Got(S_OK, ender.isNewSource ? "fghi" : "5678"), way.read(*this)) << "a later read";
            EXPECT_EQ(Events{}, filter.graph.TakeEvents());
        }
    }
}

TEST_F(WaitTest, ReadsAreGivenUpAsLongAsAnythingWantsIt) {
    const auto expect = [&](bool areGivenUp, const char* when) {
        EXPECT_EQ(areGivenUp, source.AreReadsGivenUp()) << when;
        EXPECT_EQ(Got(S_OK, "12.."), SyncRead(pin, 1, 2)) << when;
        if (areGivenUp) {
            EXPECT_EQ(Got(S_FALSE, "2..."), SyncRead(pin, 2, 4)) << when;
        }
    };
    EXPECT_EQ(S_OK, pin.BeginFlush());
    expect(true, "flushing");
    EXPECT_EQ(S_OK, filter->Stop());
    EXPECT_EQ(S_FALSE, pin.Disconnect());
    expect(true, "what ends only the waits changes nothing");
    EXPECT_EQ(S_OK, filter->AbortOperation());
    EXPECT_EQ(S_OK, pin.EndFlush());
    expect(true, "aborted");
    EXPECT_EQ(S_OK, filter->Stop());
    expect(true, "stopped");
    EXPECT_EQ(S_OK, pin.BeginFlush());
    EXPECT_EQ(S_OK, filter->Pause());
    expect(true, "flushing again");
    EXPECT_EQ(S_OK, pin.EndFlush());
    expect(false, "it has left the stopped state");
    EXPECT_EQ(S_OK, filter->AbortOperation());
    EXPECT_EQ(S_OK, filter->Run(0));
    expect(true, "it was not stopped");
    EXPECT_EQ(Events{}, filter.graph.TakeEvents()) << "nobody has waited";

    EXPECT_EQ(S_OK, filter->OpenStream(&source, &kWave));
    expect(false, "a new source, of the same stream");
    EXPECT_EQ(S_OK, pin.BeginFlush());
    other.HaveControl(3);
    EXPECT_EQ(S_OK, filter->OpenStream(&other, &kWave));
    EXPECT_TRUE(other.AreReadsGivenUp()) << "a flush holds for the new source, too";
    EXPECT_EQ(S_OK, pin.EndFlush());
    EXPECT_FALSE(other.AreReadsGivenUp());
    EXPECT_TRUE(source.AreReadsGivenUp());
}

TEST(WaitEndTest, AFilterThatGoesWaitsForNoRead) {
    const CTestApartment apartment(COINIT_MULTITHREADED);
    Stream source("0123456789");
    source.HaveControl(3);
    {
        CInnerFilter filter;
        EXPECT_EQ(S_OK, filter->OpenStream(&source, &kWave));
    }
    EXPECT_TRUE(source.AreReadsGivenUp());
    EXPECT_EQ(0u, source.References());
}

TEST_F(WaitTest, AReadGetsWhatIsHereOfWhatItMayWaitFor) {
    const auto plain = [](Stream&) {};
    const auto fails = [](Stream& s) { s.FailWaits(STG_E_READFAULT); };
    const auto live = [](Stream& s) { s.ReportSize(~0ull), s.GoNoFurtherThan(6), s.HaveControl(6); };
    const auto throughout = [](Stream& s) { s.HaveControl(10); };
    const auto givenUpInside = [&](Stream& s) { s.HaveControl(10), s.On(Stream::ReadCall, 0, {.result = E_ABORT}); };
    const struct {
        const char* what;
        std::function<void(Stream&)> arrange;
        LONGLONG position;
        LONG length;
        Got expected;
        std::string data;  // of a sample
        bool aborts = false;
        int seeks = 1;  // in both ways each
    } rows[] = {
        {"all is here", plain, 0, 3, {S_OK, "012."}, "012"},
        {"across the end", throughout, 8, 4, {S_FALSE, "89.."}, "89"},
        {"at the end", throughout, 10, 4, {S_FALSE, "...."}, "", false, 0},
        {"before the start", throughout, -3, 4, {S_FALSE, "...."}, "", false, 0},
        {"no bytes", throughout, 3, 0, {S_OK, "...."}, "", false, 0},
        {"it fails after some bytes", fails, 2, 4, {S_FALSE, "2..."}, "2", true},
        {"it fails at once", fails, 5, 4, {S_FALSE, "...."}, "", true, 0},
        {"a live source goes back", live, 2, 4, {S_OK, "2345"}, "2345"},
        {"a live source has some", live, 4, 4, {S_FALSE, "45.."}, "45"},
        {"a live source doesn't go there", live, 8, 2, {S_FALSE, "...."}, "", false, 0},
        {"nothing is read where a live source doesn't go", live, 8, 0, {S_OK, "...."}, "", false, 0},
        {"given up within the read", givenUpInside, 2, 4, {S_FALSE, "...."}, ""},
    };
    for (const auto& row : rows)
        for (const bool aligned : {false, true}) {
            SCOPED_TRACE(std::string(row.what) + (aligned ? ", aligned" : ""));
            Stream scripted("0123456789");
            scripted.HaveControl(3);
            row.arrange(scripted);
            ASSERT_HRESULT_SUCCEEDED(pin.SetSourceFileStream(&scripted, 0));
            CTestSample own(4);
            own.SetRange(row.position, row.position + row.length);
            if (aligned) {
                EXPECT_EQ(row.expected.first, pin.SyncReadAligned(&own));
                EXPECT_EQ(row.data, own.Data());
            } else {
                EXPECT_EQ(row.expected, SyncRead(pin, row.position, row.length));
            }
            const Events aborted{{EC_ERRORABORT, aligned ? static_cast<HRESULT>(0x8007001E) : S_OK, 0}};
            EXPECT_EQ(row.aborts ? aborted : Events{}, filter.graph.TakeEvents());
            EXPECT_EQ(row.seeks, scripted.Calls(Stream::SeekCall));
            ASSERT_EQ(S_OK, pin.SetSourceFileStream(&other, 0));
        }
    CTestSample invalid(4);
    invalid.SetRange(6, 2);
    ASSERT_EQ(S_OK, pin.SetSourceFileStream(&source, 0));
    EXPECT_EQ(E_FAIL, pin.SyncReadAligned(&invalid));
    invalid.SetRange(5, 9);
    invalid.getTime = E_FAIL;
    EXPECT_EQ(S_FALSE, pin.SyncReadAligned(&invalid));
    EXPECT_EQ(E_POINTER, pin.Read(nullptr, 4, nullptr));
    EXPECT_EQ(std::vector<Stream::Awaited>{}, source.TakeAwaits()) << "nothing is waited for that can't be read";
    // Without the control this code is a failure like any other.
    ASSERT_EQ(S_OK, pin.SetSourceFileStream(&other, 0));
    static_cast<void>(filter.graph.TakeEvents());
    other.On(Stream::ReadCall, 0, {.result = E_ABORT});
    EXPECT_EQ(Got(S_FALSE, "...."), SyncRead(pin, 2, 4));
    EXPECT_EQ((Events{{EC_ERRORABORT, S_OK, 0}}), filter.graph.TakeEvents());
}

TEST_F(WaitTest, AStreamReadSaysWhyItIsShort) {
    const auto read = [&](LONGLONG from) {
        ULARGE_INTEGER position{};
        EXPECT_EQ(S_OK, pin.Seek({.QuadPart = from}, STREAM_SEEK_SET, &position));
        char bytes[5]{};
        ULONG count = 9;
        const HRESULT hr = pin.Read(bytes, 4, &count);
        return Got(hr, std::string(bytes, count));
    };
    source.FailWaits(STG_E_READFAULT);
    EXPECT_EQ(Got(S_FALSE, "2"), read(2));
    EXPECT_EQ(Got(STG_E_READFAULT, ""), read(3));
    source.HaveControl(10);
    EXPECT_EQ(Got(S_FALSE, "89"), read(8));
    EXPECT_EQ(Got(S_FALSE, ""), read(10));
    // Another reader moves the stream meanwhile: what is read is waited for where it is then.
    source.FailWaits(S_OK);
    source.HaveControl(3);
    const CSecondCall reader([&] { EXPECT_EQ(Got(S_OK, "6789"), read(5)); });
    ASSERT_TRUE(source.WaitUntilWaiting());
    ULARGE_INTEGER position{};
    EXPECT_EQ(S_OK, pin.Seek({.QuadPart = 6}, STREAM_SEEK_SET, &position));
    static_cast<void>(source.TakeAwaits());
    source.HaveControl(9);
    std::vector<Stream::Awaited> asked;
    Await([&] { return asked = source.TakeAwaits(), !asked.empty(); });
    EXPECT_EQ(Stream::Awaited(6, 4, 300), asked.front());
    source.HaveControl(10);
}

TEST_F(WaitTest, AReaderGoesOnWhenItsBytesCome) {
    EXPECT_EQ(S_OK, filter->Pause());
    const CSecondCall sooner([&] { EXPECT_EQ(Got(S_OK, "4567"), SyncRead(pin, 4, 4)); });
    {
        const CSecondCall reader([&] { EXPECT_EQ(Got(S_OK, "5678"), SyncRead(pin, 5, 4)); });
        ASSERT_TRUE(source.WaitUntilWaiting(2));
        EXPECT_EQ(VFW_E_NOT_STOPPED, pin.Disconnect()) << "and changes nothing";
        source.HaveControl(8);
        sooner.AwaitEnd();
        EXPECT_FALSE(reader.Ends());
        EXPECT_EQ((Events{kBuffering[0]}), filter.graph.TakeEvents());
        source.HaveControl(9);
    }
    EXPECT_EQ((Events{kBuffering[1]}), filter.graph.TakeEvents()) << "one pair for both";
}

TEST_F(WaitTest, AReaderGoesOnAsLongAsBytesComeWithinAMinute) {
    int waits = 0;
    ULONGLONG here = 3;
    source.OnEachWait([&] {
        if (++waits % 59 == 0)
            source.HaveControl(++here);
    });
    EXPECT_EQ(Got(S_OK, "3456"), SyncRead(pin, 3, 4));
    EXPECT_EQ(kBuffering, filter.graph.TakeEvents());
    source.OnEachWait([] {});
    EXPECT_EQ(Got(S_FALSE, "6..."), SyncRead(pin, 6, 4));
    EXPECT_EQ((Events{kBuffering[0], kBuffering[1], {EC_ERRORABORT, S_OK, 0}}), filter.graph.TakeEvents());
}

TEST_F(WaitTest, AReaderThatIsEndedBeforeItAsksTheSourceDoesNotWait) {
    filter.graph.onEvent = [&](long, LONG_PTR begins) {
        if (begins) {
            EXPECT_EQ(S_OK, filter->Stop());
        }
    };
    EXPECT_EQ(Got(S_FALSE, "2..."), SyncRead(pin, 2, 4));
    filter.graph.onEvent = nullptr;
    sample.onGetTime = [&] { EXPECT_TRUE(pin.BeginFlush() == S_OK && pin.EndFlush() == S_OK); };
    EXPECT_EQ(S_FALSE, pin.SyncReadAligned(&sample));
}

TEST_F(WaitTest, AReaderThatFindsAnotherSourceWaitsForThatOne) {
    for (const bool isRequest : {false, true}) {
        other.HaveControl(10);
        ASSERT_EQ(S_OK, pin.SetSourceFileStream(&other, 0));
        source.HaveControl(3);
        sample.onGetTime = [&] { EXPECT_EQ(S_OK, pin.SetSourceFileStream(&source, 0)); };
        const CSecondCall reader(
            [&] { EXPECT_EQ(S_OK, isRequest ? pin.Request(&sample, 0) : pin.SyncReadAligned(&sample)); });
        EXPECT_TRUE(source.WaitUntilWaiting());
        LONGLONG total = 0;
        const CSecondCall question([&] { EXPECT_EQ(S_OK, pin.Length(&total, &total)); });
        question.AwaitEnd();  // without a lock
        source.HaveControl(10);
        reader.AwaitEnd();
        EXPECT_EQ("5678", sample.Data());
    }
}

TEST_F(WaitTest, ThreadsThatGiveUpReadsAtRandomLeaveNobodyWaiting) {
    std::atomic<bool> isOver{false};
    {
        const auto read = [&] {
            while (!isOver)
                EXPECT_EQ(S_FALSE, SyncRead(pin, 5, 4).first);
        };
        const CSecondCall readers[] = {CSecondCall(read), CSecondCall(read)};
        const auto giveUp = [&](unsigned seed) {
            std::mt19937 random(seed);
            for (int i = 0; i < 500; ++i) {
                switch (random() % 5) {
                    case 0:
                        EXPECT_EQ(S_OK, pin.BeginFlush());
                        break;
                    case 1:
                        EXPECT_EQ(S_OK, pin.EndFlush());
                        break;
                    case 2:
                        EXPECT_EQ(S_OK, filter->Stop());
                        break;
                    case 3:
                        EXPECT_EQ(S_OK, filter->Pause());
                        break;
                    default:
                        static_cast<void>(pin.Disconnect());
                        break;  // refused unless it is stopped
                }
            }
        };
        {
            const CSecondCall threads[] = {CSecondCall([&] { giveUp(1); }), CSecondCall([&] { giveUp(2); })};
        }
        CTestSample here(4);
        here.SetRange(0, 0);
        const bool isFlushing = pin.Request(&here, 0) == VFW_E_WRONG_STATE;
        EXPECT_EQ(isFlushing, source.AreReadsGivenUp()) << "the source was told last what holds";
        isOver = true;
        EXPECT_EQ(S_OK, filter->AbortOperation());
    }
    EXPECT_EQ(S_OK, pin.EndFlush());
    EXPECT_EQ(S_OK, Resume());
    EXPECT_FALSE(source.AreReadsGivenUp());
    const Events events = filter.graph.TakeEvents();
    EXPECT_EQ(std::ranges::count(events, kBuffering[0]), std::ranges::count(events, kBuffering[1]));
    EXPECT_EQ(std::ssize(events), 2 * std::ranges::count(events, kBuffering[0])) << "and no graph is aborted";
}

}  // namespace
