// How often the grammar of names runs, in the filter and the data services together: the linker leads every call of it
// through here.
#include "TKDataServices.h"
#include "dataservices/CUriAccessFactory.h"
#include "framework/uri/CTKFUriGrammar.h"
#include "tests/support/CInnerFilter.h"
#include "tests/support/CRegisteredComClass.h"
#include "tests/support/FilterTest.h"

#include <atomic>

#define TEXT_OF(token) #token
#define LABEL(prefix, token) \
    TEXT_OF(prefix) token "_ZN9framework14CTKFUriGrammar5ParseESt17basic_string_viewIwSt11char_traitsIwEE"

std::optional<framework::CTKFUriParts> RealParse(std::wstring_view text) __asm__(LABEL(__USER_LABEL_PREFIX__,
                                                                                       "__real_"));
std::optional<framework::CTKFUriParts> CountedParse(std::wstring_view text) __asm__(LABEL(__USER_LABEL_PREFIX__,
                                                                                          "__wrap_"));

namespace {

std::atomic<int> g_runs{0};

}  // namespace

std::optional<framework::CTKFUriParts> CountedParse(std::wstring_view text) {
    ++g_runs;
    return RealParse(text);
}

TEST(ParsedOnceTest, ANameIsParsedOnceOnEachSideOfTheComEdge) {
    const CTestApartment apartment(COINIT_MULTITHREADED);
    const CRegisteredComClass layer(CLSID_TKDSUriAccessFactory, [](REFIID iid, void** object) {
        ComPtr<dataservices::CUriAccessFactory> factory;
        const HRESULT hr = framework::MakeComObject<dataservices::CUriAccessFactory>(factory.GetAddressOf());
        return FAILED(hr) ? hr : factory->QueryInterface(iid, object);
    });
    const CTempFile file("0123456789");
    // Nothing listens at port 0, and nobody is asked.
    for (const auto& [name, runs] : {std::pair<std::wstring, int>{L"http://me:pw@host:0/a@b", 2},
                                     {L"data:,0123456789", 2},
                                     {LR"(\\server\share\x)", 2},
                                     {L"file://server/share/x", 2},
                                     {file.Path(), 1}}) {
        g_runs = 0;
        const Log lines = LinesOf([&, text = name] {
            CInnerFilter filter;
            static_cast<void>(filter->Load(text.c_str(), &kWave));
        });
        EXPECT_EQ(runs, g_runs) << ::testing::PrintToString(name);
        EXPECT_LT(2u, lines.size()) << "names are logged too";
    }
}
