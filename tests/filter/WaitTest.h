// A filter whose source says what of it is here: "0123456789", of which nothing after byte 3 is.
#pragma once

#include "base/CTaskMem.h"
#include "tests/support/Await.h"
#include "tests/support/CInnerFilter.h"
#include "tests/support/CSecondCall.h"
#include "tests/support/FilterTest.h"

#include <evcode.h>

using Events = std::vector<GraphEvent>;
inline const Events kBuffering{{EC_BUFFERING_DATA, 1, 0}, {EC_BUFFERING_DATA, 0, 0}};

struct WaitTest : ::testing::Test {
    const CTestApartment apartment{COINIT_MULTITHREADED};
    const CTempFile file{"abcdefghij"};
    Stream source{"0123456789"}, other{"abcdefghij"};
    CTestSample sample{4};
    CInnerFilter filter;
    CCustomFileSourcePin& pin = filter.Pin();

    void SetUp() override {
        source.HaveControl(3);
        sample.SetRange(5, 9);
        ASSERT_EQ(S_OK, filter->OpenStream(&source, &kWave));
    }
    // A failed test leaves nobody waiting.
    void TearDown() override { EXPECT_EQ(S_OK, filter->AbortOperation()); }

    std::wstring CurrentName() {
        base::CTaskMem<wchar_t> name;
        EXPECT_EQ(S_OK, filter->GetCurFile(name.Put(), nullptr));
        return name.Get();
    }
    HRESULT Resume() { return filter->Stop() == S_OK ? filter->Pause() : E_FAIL; }
};
