#include "threading/CComThreadRunnableAdapter.h"

#include "tests/support/CTestApartment.h"

#include <gtest/gtest.h>
#include <stdexcept>

namespace {

// The kind of apartment that the calling thread is in; APTTYPE_CURRENT: in none. All single-threaded ones are alike.
APTTYPE Apartment() {
    APTTYPE type{};
    APTTYPEQUALIFIER qualifier{};
    if (FAILED(::CoGetApartmentType(&type, &qualifier)) || qualifier == APTTYPEQUALIFIER_IMPLICIT_MTA)
        return APTTYPE_CURRENT;
    return type == APTTYPE_MAINSTA ? APTTYPE_STA : type;
}

struct CBody {
    HRESULT Work() { return apartment = Apartment(), S_FALSE; }
    HRESULT Throw() { throw std::runtime_error("body"); }

    APTTYPE apartment = APTTYPE_NA;
};
using Adapter = CComThreadRunnableAdapter<CBody>;

TEST(CComThreadRunnableAdapterTest, BodyRunsInTheApartmentThatWasAskedForAndTheThreadIsLeftAsItWas) {
    for (const auto& [flags, kind] :
         {std::pair{COINIT_MULTITHREADED, APTTYPE_MTA}, {COINIT_APARTMENTTHREADED, APTTYPE_STA}}) {
        CBody body;
        EXPECT_EQ(S_FALSE, Adapter(&body, &CBody::Work, flags).Run());
        EXPECT_EQ(kind, body.apartment);
        EXPECT_THROW(Adapter(&body, &CBody::Throw, flags).Run(), std::runtime_error);
        EXPECT_EQ(APTTYPE_CURRENT, Apartment());
    }
    const CTestApartment other(COINIT_APARTMENTTHREADED);
    CBody body;
    EXPECT_EQ(RPC_E_CHANGED_MODE, Adapter(&body, &CBody::Work, COINIT_MULTITHREADED).Run());
    EXPECT_EQ(APTTYPE_NA, body.apartment) << "ran in another kind of apartment";
}

}  // namespace
