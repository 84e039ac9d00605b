#include "threading/CComThreadRunnableAdapter.h"

#include "tests/support/CTestApartment.h"
#include "threading/CRunnableThread.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace {

// The kind of apartment that the calling thread is in; -1 when it is in none of its own.
int ApartmentOfThisThread() {
    APTTYPE type{};
    APTTYPEQUALIFIER qualifier{};
    const HRESULT hr = ::CoGetApartmentType(&type, &qualifier);
    return SUCCEEDED(hr) && qualifier != APTTYPEQUALIFIER_IMPLICIT_MTA ? static_cast<int>(type) : -1;
}

struct CBody {
    HRESULT Work() {
        ++m_runs;
        m_apartment = ApartmentOfThisThread();
        return m_result;
    }
    HRESULT Throw() { throw std::runtime_error("body"); }

    int m_runs = 0;
    int m_apartment = -1;
    HRESULT m_result = S_OK;
};

using Adapter = CComThreadRunnableAdapter<CBody>;

TEST(CComThreadRunnableAdapterTest, RunsTheBodyInTheApartmentThatWasAskedFor) {
    struct {
        DWORD flags;
        int apartment;
        HRESULT result;
    } const rows[] = {
        {COINIT_MULTITHREADED, APTTYPE_MTA, S_OK},
        {COINIT_MULTITHREADED, APTTYPE_MTA, E_FAIL},
        {COINIT_APARTMENTTHREADED, APTTYPE_STA, S_FALSE},
    };
    const CTestApartment mta(COINIT_MULTITHREADED);  // so that the other thread's one isn't the first of the process
    for (const auto& row : rows) {
        SCOPED_TRACE(row.apartment);
        CBody body;
        body.m_result = row.result;
        Adapter adapter(&body, &CBody::Work, row.flags);
        CRunnableThread thread;
        thread.Init(&adapter, nullptr, 0);
        ASSERT_TRUE(thread.Start());
        ASSERT_TRUE(thread.Join(INFINITE));
        DWORD exitCode = 99;
        EXPECT_TRUE(thread.GetExitCode(&exitCode));
        EXPECT_EQ(row.result, static_cast<HRESULT>(exitCode));
        EXPECT_TRUE(body.m_apartment == row.apartment ||
                    (row.apartment == APTTYPE_STA && body.m_apartment == APTTYPE_MAINSTA))
            << body.m_apartment;
    }
}

TEST(CComThreadRunnableAdapterTest, DoesNotRunTheBodyInAnotherKindOfApartment) {
    const CTestApartment sta(COINIT_APARTMENTTHREADED);
    CBody body;
    EXPECT_EQ(RPC_E_CHANGED_MODE, Adapter(&body, &CBody::Work, COINIT_MULTITHREADED).Run());
    EXPECT_EQ(0, body.m_runs);
}

TEST(CComThreadRunnableAdapterTest, LeavesTheThreadAsItFoundIt) {
    CBody body;
    EXPECT_EQ(-1, ApartmentOfThisThread());
    EXPECT_EQ(S_OK, Adapter(&body, &CBody::Work, COINIT_APARTMENTTHREADED).Run());
    EXPECT_EQ(-1, ApartmentOfThisThread());
    EXPECT_THROW(Adapter(&body, &CBody::Throw, COINIT_APARTMENTTHREADED).Run(), std::runtime_error);
    EXPECT_EQ(-1, ApartmentOfThisThread());
}

TEST(CComThreadRunnableAdapterTest, RunsOnAThreadThatIsInTheSameApartmentAlready) {
    const CTestApartment mta(COINIT_MULTITHREADED);
    CBody body;
    body.m_result = S_FALSE;
    EXPECT_EQ(S_FALSE, Adapter(&body, &CBody::Work, COINIT_MULTITHREADED).Run());
    EXPECT_EQ(1, body.m_runs);
    EXPECT_EQ(APTTYPE_MTA, ApartmentOfThisThread());
}

}  // namespace
