// The filter at the head of the platform's own graphs: parsers make of its bytes what they make of the stock source's.
#include "tests/filter/FilterTest.h"
#include "tests/support/CTestObject.h"

#include <control.h>
#include <evcode.h>
#include <qedit.h>

namespace {

constexpr CLSID kWaveParser{0xD51BD5A1, 0x7548, 0x11CF, {0xA5, 0x20, 0x00, 0x80, 0xC7, 0x7E, 0xF5, 0x8A}};
constexpr CLSID kAviSplitter{0x1B544C20, 0xFD0B, 0x11CE, {0x8C, 0x63, 0x00, 0xAA, 0x00, 0x44, 0xB5, 0x1E}};
constexpr CLSID kMpegSplitter{0x336475D0, 0x942A, 0x11CE, {0xA8, 0x70, 0x00, 0xAA, 0x00, 0x2F, 0xEA, 0xB5}};
constexpr CLSID kGenericParser{0xF9D8D64E, 0xA144, 0x47DC, {0x8E, 0xE0, 0xF5, 0x34, 0x98, 0x37, 0x2C, 0x29}};
constexpr CLSID kSampleGrabber{0xC1F400A0, 0x3F08, 0x11D3, {0x9F, 0x0B, 0x00, 0x60, 0x08, 0x03, 0x9E, 0x37}};
constexpr CLSID kNullRenderer{0xC1F400A4, 0x3F08, 0x11D3, {0x9F, 0x0B, 0x00, 0x60, 0x08, 0x03, 0x9E, 0x37}};

ComPtr<IBaseFilter> Make(REFCLSID clsid) {
    ComPtr<IBaseFilter> filter;
    EXPECT_EQ(S_OK, ::CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&filter)));
    return filter;
}

// The filter's pins of a direction, in order.
std::vector<ComPtr<IPin>> Pins(const ComPtr<IBaseFilter>& filter, PIN_DIRECTION wanted) {
    std::vector<ComPtr<IPin>> found;
    ComPtr<IEnumPins> pins;
    EXPECT_EQ(S_OK, filter->EnumPins(&pins));
    PIN_DIRECTION direction{};
    for (ComPtr<IPin> pin; pins->Next(1, pin.ReleaseAndGetAddressOf(), nullptr) == S_OK;)
        if (pin->QueryDirection(&direction) == S_OK && direction == wanted)
            found.push_back(pin);
    return found;
}

// Keeps the data of all samples that a grabber has seen.
struct CKeeper final : CTestObject<ISampleGrabberCB> {
    std::string data;

    STDMETHODIMP SampleCB(double, IMediaSample*) override { return S_OK; }
    STDMETHODIMP BufferCB(double, BYTE* buffer, long length) override {
        data.append(reinterpret_cast<const char*>(buffer), static_cast<size_t>(length));
        return S_OK;
    }
};

// Runs a source through a parser and a sample grabber to its end: what the grabber has seen of the first of the
// parser's streams that it takes.
std::string Deliver(const ComPtr<IBaseFilter>& source, REFCLSID parserClass) {
    CKeeper keeper;
    ComPtr<IGraphBuilder> graph;
    ComPtr<ISampleGrabber> grabs;
    EXPECT_EQ(S_OK, ::CoCreateInstance(CLSID_FilterGraph, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&graph)));
    const ComPtr<IBaseFilter> parser = Make(parserClass), grabber = Make(kSampleGrabber),
                              renderer = Make(kNullRenderer);
    for (const auto& filter : {source, parser, grabber, renderer})
        EXPECT_HRESULT_SUCCEEDED(graph->AddFilter(filter.Get(), nullptr));
    EXPECT_EQ(S_OK, grabber.As(&grabs));
    EXPECT_EQ(S_OK, grabs->SetCallback(&keeper, 1));
    const auto connect = [&](const ComPtr<IPin>& pin, const ComPtr<IBaseFilter>& to) {
        return graph->ConnectDirect(pin.Get(), Pins(to, PINDIR_INPUT).at(0).Get(), nullptr) == S_OK;
    };
    EXPECT_TRUE(connect(Pins(source, PINDIR_OUTPUT).at(0), parser));
    EXPECT_TRUE(std::ranges::any_of(Pins(parser, PINDIR_OUTPUT), [&](auto& pin) { return connect(pin, grabber); }));
    EXPECT_TRUE(connect(Pins(grabber, PINDIR_OUTPUT).at(0), renderer));
    ComPtr<IMediaFilter> clock;
    ComPtr<IMediaControl> control;
    ComPtr<IMediaEvent> events;
    EXPECT_EQ(S_OK, graph.As(&clock));
    EXPECT_EQ(S_OK, graph.As(&control));
    EXPECT_EQ(S_OK, graph->QueryInterface(IID_IMediaEvent, &events));
    EXPECT_EQ(S_OK, clock->SetSyncSource(nullptr));  // as fast as it can
    EXPECT_HRESULT_SUCCEEDED(control->Run());
    long code = 0;
    EXPECT_EQ(S_OK, events->WaitForCompletion(60'000, &code));
    EXPECT_EQ(EC_COMPLETE, code);
    EXPECT_HRESULT_SUCCEEDED(control->Stop());
    return keeper.data;
}

TEST(GraphTest, ParsersGiveTheSameStreamsAsFromTheStockSource) {
    const CTestApartment apartment(COINIT_MULTITHREADED);
    ComPtr<IBaseFilter> parser;
    if (FAILED(::CoCreateInstance(kGenericParser, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&parser))))
        GTEST_SKIP() << "no parsers: the platform's media library lacks programs of this bitness";
    parser.Reset();
    struct Row {
        const char* file;
        CLSID parser;
        GUID subtype = GUID_NULL;  // what the stock source is told; ours finds it out
    };
    const Row rows[] = {{"tone.wav", kWaveParser, MEDIASUBTYPE_WAVE},
                        {"clip.avi", kAviSplitter, MEDIASUBTYPE_Avi},
                        {"tone.mp3", kMpegSplitter, MEDIASUBTYPE_MPEG1Audio},
                        {"tone.ogg", kGenericParser},
                        {"tone.flac", kGenericParser},
                        {"clip.mp4", kGenericParser},
                        {"clip.mkv", kGenericParser}};
    const std::string unknownToTheDictionary = "tone.flac", folder = TV_TEST_MEDIA "/";
    for (const Row& row : rows) {
        SCOPED_TRACE(row.file);
        const std::string name = folder + row.file;
        wchar_t path[MAX_PATH]{};
        ASSERT_NE(0u, ::GetFullPathNameW(std::wstring(name.begin(), name.end()).c_str(), MAX_PATH, path, nullptr));
        AM_MEDIA_TYPE type{};
        type.majortype = MEDIATYPE_Stream;
        type.subtype = row.subtype;

        const ComPtr<IBaseFilter> stock = Make(CLSID_AsyncReader);
        ComPtr<IFileSourceFilter> file;
        ASSERT_EQ(S_OK, stock.As(&file));
        ASSERT_EQ(S_OK, file->Load(path, &type));
        const std::string expected = Deliver(stock, row.parser);
        CFilterHost host;
        host.Create();
        ASSERT_EQ(S_OK, host.Load(path, row.file == unknownToTheDictionary ? &type : nullptr));
        const std::string delivered = Deliver(host.As<IBaseFilter>(), row.parser);
        EXPECT_LT(0u, delivered.size());
        EXPECT_TRUE(expected == delivered) << expected.size() << " and " << delivered.size() << " bytes";
        EXPECT_EQ(0u, host.Release()) << "the graph has let go of the filter";
    }
}

}  // namespace
