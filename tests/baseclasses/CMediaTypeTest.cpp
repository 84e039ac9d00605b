#include "baseclasses/CMediaType.h"

#include "tests/baseclasses/CTestFilter.h"
#include "tests/baseclasses/LeakCheck.h"

#include <cstring>

using Microsoft::WRL::ComPtr;

namespace {

using CMediaTypeTest = LeakCheck;

const BYTE block[]{1, 2, 3, 4};

CMediaType WithBlock(unsigned char number, const BYTE* bytes, ULONG length) {
    CMediaType type = TestType(number);
    EXPECT_TRUE(type.SetFormat(bytes, length));
    return type;
}

// A stranger's type that claims a format block and has none.
AM_MEDIA_TYPE Liar() {
    AM_MEDIA_TYPE type{};
    type.majortype = MEDIATYPE_Stream;
    type.formattype = FORMAT_VideoInfo;
    type.cbFormat = 0xFFFFFFFF;
    return type;
}

TEST_F(CMediaTypeTest, EmptyTypeSaysSo) {
    const CMediaType type;
    EXPECT_FALSE(type.IsValid());
    EXPECT_TRUE(type.IsPartiallySpecified());
    EXPECT_TRUE(type.bFixedSizeSamples);
    EXPECT_EQ(1u, type.lSampleSize);
    EXPECT_EQ(GUID_NULL, *type.FormatType());
    EXPECT_EQ(nullptr, type.Format());
}

TEST_F(CMediaTypeTest, CopyOwnsItsFormatBlockAndCountsItsUnknown) {
    const ComPtr<CTestFilter> filter = new CTestFilter;
    CMediaType type = WithBlock(1, block, sizeof block);
    type.pUnk = filter.Get()->GetOwner();
    type.pUnk->AddRef();
    const ULONG before = References(type.pUnk);
    {
        CMediaType copy;
        ASSERT_EQ(S_OK, copy.Set(type));
        const CMediaType copyOfCopy = copy;
        EXPECT_EQ(before + 2, References(type.pUnk));
        EXPECT_EQ(type, copyOfCopy);
        EXPECT_NE(type.Format(), copyOfCopy.Format());

        copy.Format()[0] = 9;
        EXPECT_EQ(1, type.Format()[0]);
        EXPECT_NE(type, copy);
    }
    EXPECT_EQ(before, References(type.pUnk));
}

TEST_F(CMediaTypeTest, AssigningReplacesWhatWasOwned) {
    const ComPtr<CTestFilter> filter = new CTestFilter;
    CMediaType type = WithBlock(1, block, sizeof block);
    type.pUnk = filter.Get()->GetOwner();
    type.pUnk->AddRef();
    EXPECT_EQ(2u, References(filter.Get()));
    type = TestType(2);
    EXPECT_EQ(1u, References(filter.Get()));
    EXPECT_EQ(TestType(2), type);
    EXPECT_EQ(0u, type.FormatLength());
}

TEST_F(CMediaTypeTest, SettingATypeToItselfKeepsIt) {
    CMediaType type = WithBlock(1, block, sizeof block);
    const CMediaType before = type;
    EXPECT_EQ(S_OK, type.Set(type));
    EXPECT_EQ(before, type);
    const CMediaType& same = type;
    type = same;
    EXPECT_EQ(before, type);
}

TEST_F(CMediaTypeTest, ClaimedFormatBlockThatIsMissingCountsAsNone) {
    AM_MEDIA_TYPE liar = Liar();
    CMediaType type;
    ASSERT_EQ(S_OK, type.Set(liar));
    EXPECT_EQ(0u, type.FormatLength());
    EXPECT_EQ(nullptr, type.Format());

    AM_MEDIA_TYPE* const created = CreateMediaType(&liar);
    ASSERT_NE(nullptr, created);
    EXPECT_EQ(0u, created->cbFormat);
    DeleteMediaType(created);

    FreeMediaType(liar);
    EXPECT_EQ(0u, liar.cbFormat);
}

TEST_F(CMediaTypeTest, BlockOfLengthZeroIsNeitherReadNorFreed) {
    AM_MEDIA_TYPE type = Liar();
    type.cbFormat = 0;
    type.pbFormat = reinterpret_cast<BYTE*>(1);
    AM_MEDIA_TYPE copy;
    ASSERT_EQ(S_OK, CopyMediaType(&copy, &type));
    EXPECT_EQ(nullptr, copy.pbFormat);
    FreeMediaType(type);
    EXPECT_EQ(nullptr, type.pbFormat);
}

TEST_F(CMediaTypeTest, CopiesRefuseNullPointers) {
    AM_MEDIA_TYPE type{};
    EXPECT_EQ(E_POINTER, CopyMediaType(nullptr, &type));
    EXPECT_EQ(E_POINTER, CopyMediaType(&type, nullptr));
    EXPECT_EQ(nullptr, CreateMediaType(nullptr));
    DeleteMediaType(nullptr);
}

TEST_F(CMediaTypeTest, FormatBlockCanBeReplacedByAPartOfItself) {
    CMediaType type = WithBlock(1, block, sizeof block);
    ASSERT_TRUE(type.SetFormat(type.Format() + 1, 2));
    ASSERT_EQ(2u, type.FormatLength());
    EXPECT_EQ(0, std::memcmp(block + 1, type.Format(), 2));
}

TEST_F(CMediaTypeTest, FormatBlockThatCannotBeSetLeavesTheOldOne) {
    CMediaType type = WithBlock(1, block, sizeof block);
    EXPECT_FALSE(type.SetFormat(nullptr, 5));
    EXPECT_EQ(WithBlock(1, block, sizeof block), type);
    EXPECT_TRUE(type.SetFormat(nullptr, 0));
    EXPECT_EQ(TestType(1), type);
}

TEST_F(CMediaTypeTest, AllocatedBlockHasTheLengthAskedForAndKeepsOneThatFits) {
    CMediaType type = WithBlock(1, block, sizeof block);
    BYTE* const kept = type.Format();
    EXPECT_EQ(kept, type.AllocFormatBuffer(sizeof block));
    EXPECT_EQ(1, type.Format()[0]);

    BYTE* const larger = type.AllocFormatBuffer(1000);
    ASSERT_NE(nullptr, larger);
    std::memset(larger, 7, 1000);
    EXPECT_EQ(1000u, type.FormatLength());

    EXPECT_EQ(nullptr, type.AllocFormatBuffer(0));
    EXPECT_EQ(0u, type.FormatLength());
}

TEST_F(CMediaTypeTest, PartialTypeMatchesWhatItLeavesOpen) {
    const CMediaType full = WithBlock(1, block, sizeof block);
    CMediaType open;
    CMediaType majorOnly(&MEDIATYPE_Stream);
    CMediaType otherMajor(&MEDIATYPE_Video);
    CMediaType subtypeOnly;
    subtypeOnly.SetSubtype(full.Subtype());
    CMediaType otherSubtype = subtypeOnly;
    otherSubtype.SetSubtype(&MEDIASUBTYPE_Avi);
    CMediaType otherFormat = full;
    otherFormat.SetFormatType(&FORMAT_WaveFormatEx);
    CMediaType shortBlock = WithBlock(1, block, 3);
    CMediaType formatLeftOpen = shortBlock;
    formatLeftOpen.SetFormatType(&GUID_NULL);

    const struct {
        const char* name;
        const CMediaType& partial;
        bool matches;
        bool isPartial;
    } cases[] = {
        {"everything open", open, true, true},
        {"major type", majorOnly, true, true},
        {"another major type", otherMajor, false, true},
        {"subtype", subtypeOnly, true, true},
        {"another subtype", otherSubtype, false, true},
        {"the type itself", full, true, false},
        {"another format type", otherFormat, false, false},
        {"another block", shortBlock, false, false},
        {"another block without a format type", formatLeftOpen, true, true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(c.matches, full.MatchesPartial(&c.partial) == TRUE);
        EXPECT_EQ(c.isPartial, c.partial.IsPartiallySpecified() == TRUE);
    }
}

TEST_F(CMediaTypeTest, EqualityLooksAtTypesAndFormatBlockOnly) {
    const CMediaType full = WithBlock(1, block, sizeof block);
    CMediaType otherSampleSize = full;
    otherSampleSize.lSampleSize = 77;
    CMediaType liar = TestType(1);
    liar.cbFormat = sizeof block;
    const BYTE otherBytes[]{1, 2, 3, 5};
    CMediaType otherMajor = full;
    otherMajor.SetType(&MEDIATYPE_Video);
    CMediaType otherFormat = full;
    otherFormat.SetFormatType(&GUID_NULL);

    EXPECT_EQ(full, otherSampleSize);
    EXPECT_NE(full, TestType(1));
    EXPECT_NE(full, WithBlock(2, block, sizeof block));
    EXPECT_NE(full, WithBlock(1, otherBytes, sizeof otherBytes));
    EXPECT_NE(full, otherMajor);
    EXPECT_NE(full, otherFormat);
    EXPECT_NE(full, liar);
    EXPECT_EQ(TestType(1), liar);
}

}  // namespace
