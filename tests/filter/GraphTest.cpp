// The filter at the head of the platform's own graphs: parsers make of its bytes what they make of the stock source's.
#include "tests/filter/FilterTest.h"
#include "tests/support/CTestObject.h"

#include <control.h>
#include <evcode.h>
#include <qedit.h>

#include <list>

namespace {

constexpr CLSID kWaveParser{0xD51BD5A1, 0x7548, 0x11CF, {0xA5, 0x20, 0x00, 0x80, 0xC7, 0x7E, 0xF5, 0x8A}};
constexpr CLSID kAviSplitter{0x1B544C20, 0xFD0B, 0x11CE, {0x8C, 0x63, 0x00, 0xAA, 0x00, 0x44, 0xB5, 0x1E}};
constexpr CLSID kMpegSplitter{0x336475D0, 0x942A, 0x11CE, {0xA8, 0x70, 0x00, 0xAA, 0x00, 0x2F, 0xEA, 0xB5}};
constexpr CLSID kGenericParser{0xF9D8D64E, 0xA144, 0x47DC, {0x8E, 0xE0, 0xF5, 0x34, 0x98, 0x37, 0x2C, 0x29}};
constexpr CLSID kSampleGrabber{0xC1F400A0, 0x3F08, 0x11D3, {0x9F, 0x0B, 0x00, 0x60, 0x08, 0x03, 0x9E, 0x37}};
constexpr CLSID kNullRenderer{0xC1F400A4, 0x3F08, 0x11D3, {0x9F, 0x0B, 0x00, 0x60, 0x08, 0x03, 0x9E, 0x37}};

constexpr const char* kMedia[] = {"tone.wav", "clip.avi",  "tone.mp3", "tone.ogg",
                                  "tone.au",  "tone.flac", "clip.mp4", "clip.mkv"};

const std::string kMediaFolder = TV_TEST_MEDIA "/";

std::wstring MediaPath(const char* name) {
    const std::string path = kMediaFolder + name;
    wchar_t full[MAX_PATH]{};
    EXPECT_NE(0u, ::GetFullPathNameW(std::wstring(path.begin(), path.end()).c_str(), MAX_PATH, full, nullptr));
    return full;
}

ComPtr<IBaseFilter> Make(REFCLSID clsid) {
    ComPtr<IBaseFilter> filter;
    EXPECT_EQ(S_OK, ::CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&filter)));
    return filter;
}

std::vector<ComPtr<IPin>> Pins(IBaseFilter* filter, PIN_DIRECTION wanted) {
    std::vector<ComPtr<IPin>> found;
    ComPtr<IEnumPins> pins;
    EXPECT_EQ(S_OK, filter->EnumPins(&pins));
    ComPtr<IPin> pin;
    while (pins->Next(1, pin.ReleaseAndGetAddressOf(), nullptr) == S_OK) {
        PIN_DIRECTION direction{};
        EXPECT_EQ(S_OK, pin->QueryDirection(&direction));
        if (direction == wanted)
            found.push_back(pin);
    }
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

// A parser's pin, a sample grabber that fills the keeper, and a Null Renderer, in a row. False: the grabber won't have
// the pin's data.
bool Render(IGraphBuilder* graph, IPin* pin, CKeeper* keeper) {
    const ComPtr<IBaseFilter> grabber = Make(kSampleGrabber);
    const ComPtr<IBaseFilter> renderer = Make(kNullRenderer);
    ComPtr<ISampleGrabber> grabs;
    EXPECT_EQ(S_OK, grabber.As(&grabs));
    EXPECT_EQ(S_OK, grabs->SetCallback(keeper, 1));
    EXPECT_HRESULT_SUCCEEDED(graph->AddFilter(grabber.Get(), L"Grabber"));
    if (FAILED(graph->ConnectDirect(pin, Pins(grabber.Get(), PINDIR_INPUT).at(0).Get(), nullptr))) {
        EXPECT_EQ(S_OK, graph->RemoveFilter(grabber.Get()));
        return false;
    }
    EXPECT_HRESULT_SUCCEEDED(graph->AddFilter(renderer.Get(), L"Renderer"));
    EXPECT_EQ(S_OK, graph->ConnectDirect(Pins(grabber.Get(), PINDIR_OUTPUT).at(0).Get(),
                                         Pins(renderer.Get(), PINDIR_INPUT).at(0).Get(), nullptr));
    return true;
}

// Runs a source through a parser to its end: the data of each stream.
std::vector<std::string> Deliver(IBaseFilter* source, REFCLSID parserClass) {
    std::list<CKeeper> keepers;
    std::vector<std::string> delivered;
    ComPtr<IGraphBuilder> graph;
    EXPECT_EQ(S_OK, ::CoCreateInstance(CLSID_FilterGraph, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&graph)));
    const ComPtr<IBaseFilter> parser = Make(parserClass);
    EXPECT_HRESULT_SUCCEEDED(graph->AddFilter(source, L"Source"));
    EXPECT_HRESULT_SUCCEEDED(graph->AddFilter(parser.Get(), L"Parser"));
    EXPECT_EQ(S_OK, graph->ConnectDirect(Pins(source, PINDIR_OUTPUT).at(0).Get(),
                                         Pins(parser.Get(), PINDIR_INPUT).at(0).Get(), nullptr));
    for (const auto& pin : Pins(parser.Get(), PINDIR_OUTPUT)) {
        if (!Render(graph.Get(), pin.Get(), &keepers.emplace_back()))
            keepers.pop_back();
    }
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
    for (const CKeeper& keeper : keepers)
        delivered.push_back(keeper.data);
    return delivered;
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
        GUID subtype;  // what the stock source is told; ours finds it out
    };
    std::vector<Row> rows{{"tone.wav", kWaveParser, MEDIASUBTYPE_WAVE},
                          {"clip.avi", kAviSplitter, MEDIASUBTYPE_Avi},
                          {"tone.mp3", kMpegSplitter, MEDIASUBTYPE_MPEG1Audio}};
    for (const char* file : kMedia)
        rows.push_back({file, kGenericParser, GUID_NULL});
    const std::string unknownToTheDictionary = "tone.flac";
    for (const Row& row : rows) {
        SCOPED_TRACE(std::string(row.file) + (row.parser == kGenericParser ? ", generic parser" : ""));
        const std::wstring path = MediaPath(row.file);
        AM_MEDIA_TYPE type{};
        type.majortype = MEDIATYPE_Stream;
        type.subtype = row.subtype;

        const ComPtr<IBaseFilter> stock = Make(CLSID_AsyncReader);
        ComPtr<IFileSourceFilter> file;
        ASSERT_EQ(S_OK, stock.As(&file));
        ASSERT_EQ(S_OK, file->Load(path.c_str(), &type));
        const std::vector<std::string> expected = Deliver(stock.Get(), row.parser);
        EXPECT_FALSE(expected.empty());

        CFilterHost host;
        host.Create();
        ASSERT_EQ(S_OK, host.Load(path, row.file == unknownToTheDictionary ? &type : nullptr));
        const std::vector<std::string> delivered = Deliver(host.As<IBaseFilter>().Get(), row.parser);
        ASSERT_EQ(expected.size(), delivered.size());
        for (size_t i = 0; i < delivered.size(); ++i) {
            EXPECT_FALSE(delivered[i].empty());
            EXPECT_TRUE(expected[i] == delivered[i])
                << expected[i].size() << " and " << delivered[i].size() << " bytes";
        }
        EXPECT_EQ(0u, host.Release()) << "the graph has let go of the filter";
    }
}

}  // namespace
