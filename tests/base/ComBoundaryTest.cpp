#include "base/ComBoundary.h"

#include "base/CAtlException.h"

#include <gtest/gtest.h>

#include <new>
#include <stdexcept>

namespace {

TEST(ComBoundaryTest, ExceptionsBecomeResultCodes) {
    EXPECT_EQ(S_FALSE, base::ComBoundary([] { return S_FALSE; }));
    EXPECT_EQ(E_ABORT, base::ComBoundary([]() -> HRESULT { throw base::CAtlException(E_ABORT); }));
    EXPECT_EQ(E_OUTOFMEMORY, base::ComBoundary([]() -> HRESULT { throw std::bad_alloc(); }));
    EXPECT_EQ(E_OUTOFMEMORY, base::ComBoundary([]() -> HRESULT { throw std::length_error("too long"); }));
    EXPECT_EQ(E_UNEXPECTED, base::ComBoundary([]() -> HRESULT { throw 42; }));
}

}  // namespace
