#include "tests/baseclasses/CTestFilter.h"

using Microsoft::WRL::ComPtr;

namespace {

using CUnknownTest = LeakCheck;

// Refers to itself while it is destroyed, as an object does that takes itself out of others' lists.
class CClingingObject final : public CUnknown, public IPersist {
public:
    explicit CClingingObject(int& destroyed) : CUnknown(L"clinging object", nullptr), m_destroyed(destroyed) {}
    ~CClingingObject() override {
        const ComPtr<IPersist> once = this, twice = this;
        ++m_destroyed;
    }
    DECLARE_IUNKNOWN
    STDMETHODIMP GetClassID(CLSID*) override { return E_NOTIMPL; }

private:
    int& m_destroyed;
};

TEST_F(CUnknownTest, ReferencesTakenDuringDestructionDestroyNothingTwice) {
    int destroyed = 0;
    ComPtr<IPersist>(new CClingingObject(destroyed)).Reset();
    EXPECT_EQ(1, destroyed);
}

}  // namespace
