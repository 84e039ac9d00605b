#include "tests/baseclasses/CTestFilter.h"

using Microsoft::WRL::ComPtr;

namespace {

class CMediaTypeTest : public LeakCheck {
protected:
    static CMediaType WithBlock(std::vector<BYTE> bytes) {
        CMediaType type = TestType(1);
        EXPECT_TRUE(type.SetFormat(bytes.data(), static_cast<ULONG>(bytes.size())));
        return type;
    }
    const CMediaType full = WithBlock({1, 2, 3, 4});
};

TEST_F(CMediaTypeTest, CopiesOwnWhatTheyPointTo) {
    const ComPtr<CTestFilter> filter = new CTestFilter;
    CMediaType type = full;
    type.pUnk = filter.Get()->GetOwner();
    type.pUnk->AddRef();
    {
        CMediaType copy;
        ASSERT_EQ(S_OK, copy.Set(type));
        const CMediaType copyOfCopy = copy;
        EXPECT_EQ(4u, References(filter.Get()));
        copy.Format()[0] = 9;
        EXPECT_TRUE(type != copy && type == copyOfCopy);
    }
    EXPECT_EQ(S_OK, type.Set(type));
    EXPECT_EQ(full, type);
    BYTE* const block = type.Format();
    EXPECT_EQ(block, type.AllocFormatBuffer(type.FormatLength())) << "it is large enough";
    EXPECT_NE(nullptr, type.AllocFormatBuffer(8));
    EXPECT_EQ(8u, type.FormatLength());
    EXPECT_TRUE(!type.AllocFormatBuffer(0) && !type.Format() && type.FormatLength() == 0);
    EXPECT_FALSE(type.SetFormat(nullptr, 1));
    type = TestType(2);
    EXPECT_EQ(1u, References(filter.Get()));
}

TEST_F(CMediaTypeTest, StrangersFormatBlockThatIsMissingOrEmptyCountsAsNone) {
    for (const auto& [length, block] :
         {std::pair<ULONG, BYTE*>{0xFFFFFFFF, nullptr}, {0, reinterpret_cast<BYTE*>(1)}}) {
        AM_MEDIA_TYPE liar{};
        liar.cbFormat = length;
        liar.pbFormat = block;
        CMediaType type;
        ASSERT_EQ(S_OK, type.Set(liar));
        AM_MEDIA_TYPE* const created = CreateMediaType(&liar);
        ASSERT_NE(nullptr, created);
        FreeMediaType(liar);
        for (const AM_MEDIA_TYPE& seen : {AM_MEDIA_TYPE(type), *created, liar})
            EXPECT_TRUE(seen.cbFormat == 0 && seen.pbFormat == nullptr);
        DeleteMediaType(created);
    }
}

TEST_F(CMediaTypeTest, ATypeMatchesWhatIsLeftOpen) {
    const auto with = [](CMediaType type, GUID AM_MEDIA_TYPE::*field, const GUID& guid) {
        type.*field = guid;
        return type;
    };
    const struct {
        const char* name;
        CMediaType type;
        bool matches, isPartial, isEqual;
    } cases[] = {
        {"everything open", CMediaType(), true, true, false},
        {"subtype", with({}, &CMediaType::subtype, full.subtype), true, true, false},
        {"the type itself", full, true, false, true},
        {"only the major type differs", with(full, &CMediaType::majortype, MEDIATYPE_Video), false, false, false},
        {"only the subtype differs", with(full, &CMediaType::subtype, MEDIASUBTYPE_Avi), false, false, false},
        {"another format type", with(full, &CMediaType::formattype, FORMAT_WaveFormatEx), false, false, false},
        {"block of another length", WithBlock({1, 2, 3}), false, false, false},
        {"block of other bytes", WithBlock({1, 2, 3, 5}), false, false, false},
        {"format open", with(WithBlock({1}), &CMediaType::formattype, GUID_NULL), true, true, false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(c.matches, full.MatchesPartial(&c.type) == TRUE);
        EXPECT_EQ(c.isPartial, c.type.IsPartiallySpecified() == TRUE);
        EXPECT_EQ(c.isEqual, c.type == full);
    }
}

}  // namespace
