// The pin enumerator and the media type enumerator keep one contract, so one set of tests runs over both.
#include "tests/baseclasses/CTestFilter.h"

using Microsoft::WRL::ComPtr;

namespace {

struct Pins {
    using Enumerator = IEnumPins;
    using Item = IPin*;
    static HRESULT Make(CTestFilter& filter, IEnumPins** enumerator) { return filter.EnumPins(enumerator); }
    static void Change(CTestFilter& filter) { filter.IncrementPinVersion(); }
    static void Shrink(CTestFilter& filter) { filter.RemovePins(); }
    static void Lose(CTestFilter& filter, int position) { filter.lost = position; }
    static int Number(IPin* pin) {
        const int number = static_cast<CTestPin*>(pin)->Name()[0] - L'0';
        pin->Release();
        return number;
    }
};

struct MediaTypes {
    using Enumerator = IEnumMediaTypes;
    using Item = AM_MEDIA_TYPE*;
    static HRESULT Make(CTestFilter& filter, IEnumMediaTypes** enumerator) {
        return filter.Pin(0).CBasePin::EnumMediaTypes(enumerator);
    }
    static void Change(CTestFilter& filter) { filter.Pin(0).IncrementTypeVersion(); }
    static void Shrink(CTestFilter& filter) { filter.Pin(0).offered = {1}; }
    static void Lose(CTestFilter& filter, int position) {
        filter.Pin(0).unknown = filter.GetOwner();  // so that a type that leaks is counted
        filter.Pin(0).onGetMediaType = [&filter, position](int asked) {
            if (asked == position)
                Change(filter);
        };
    }
    static int Number(AM_MEDIA_TYPE* type) {
        const int number = NumberOf(*type);
        DeleteMediaType(type);
        return number;
    }
};

// Three items, numbered from 1.
template <class Kind>
class EnumeratorTest : public LeakCheck {
protected:
    EnumeratorTest() {
        for (const wchar_t* const name : {L"1", L"2", L"3"})
            filter->AddPin(name, PINDIR_OUTPUT);
        filter->Pin(0).offered = {1, 2, 3};
        EXPECT_EQ(S_OK, Kind::Make(*filter.Get(), &enumerator));
    }

    // The numbers of up to `count` next items, as digits of one number: 23 for items 2 and 3.
    int Next(ULONG count, HRESULT expected = S_OK) {
        typename Kind::Item items[8]{};
        ULONG fetched = 99;
        EXPECT_EQ(expected, enumerator->Next(count, items, &fetched));
        EXPECT_LE(fetched, count);
        int digits = 0;
        for (ULONG i = 0; i < fetched && i < 8; ++i)
            digits = 10 * digits + Kind::Number(items[i]);
        return digits;
    }

    const ComPtr<CTestFilter> filter = new CTestFilter;
    ComPtr<typename Kind::Enumerator> enumerator;
};

using Kinds = ::testing::Types<Pins, MediaTypes>;
TYPED_TEST_SUITE(EnumeratorTest, Kinds);

TYPED_TEST(EnumeratorTest, NextGivesAllItemsInOrder) {
    EXPECT_EQ(0, this->Next(0));
    EXPECT_EQ(1, this->Next(1));
    EXPECT_EQ(23, this->Next(2));
    EXPECT_EQ(0, this->Next(1, S_FALSE));
    EXPECT_EQ(S_OK, this->enumerator->Reset());
    EXPECT_EQ(123, this->Next(8, S_FALSE));
    EXPECT_EQ(2u, References(this->filter.Get())) << "the enumerator keeps the filter alive, once";
    ExpectOnly<typename TypeParam::Enumerator>(this->enumerator.Get());
    typename TypeParam::Item item{};
    ULONG fetched = 99;
    EXPECT_EQ(E_POINTER, this->enumerator->Next(1, nullptr, &fetched));
    EXPECT_EQ(0u, fetched);
    EXPECT_EQ(E_INVALIDARG, this->enumerator->Next(2, &item, nullptr));
    EXPECT_EQ(E_POINTER, this->enumerator->Clone(nullptr));
    ASSERT_EQ(S_OK, this->enumerator->Reset());
    ASSERT_EQ(S_OK, this->enumerator->Next(1, &item, nullptr));
    EXPECT_EQ(1, TypeParam::Number(item));
}

TYPED_TEST(EnumeratorTest, AnItemThatIsLostInTheMidstTakesThoseBeforeItAlong) {
    TypeParam::Lose(*this->filter.Get(), 2);
    typename TypeParam::Item items[3]{};
    ULONG fetched = 99;
    EXPECT_EQ(VFW_E_ENUM_OUT_OF_SYNC, this->enumerator->Next(3, items, &fetched));
    EXPECT_EQ(0u, fetched);
    EXPECT_TRUE(!items[0] && !items[1] && !items[2]);
    EXPECT_EQ(2u, References(this->filter.Get())) << "they were given back";
}

TYPED_TEST(EnumeratorTest, SkipStopsAtTheEnd) {
    const struct {
        ULONG count;
        HRESULT result;
        int next;
    } cases[] = {{0, S_OK, 1}, {2, S_OK, 3}, {3, S_OK, 0}, {4, S_FALSE, 0}, {0xFFFFFFFF, S_FALSE, 0}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.count);
        ASSERT_EQ(S_OK, this->enumerator->Reset());
        EXPECT_EQ(c.result, this->enumerator->Skip(c.count));
        ComPtr<typename TypeParam::Enumerator> clone;
        ASSERT_EQ(S_OK, this->enumerator->Clone(&clone));
        EXPECT_EQ(c.next, this->Next(1, c.next != 0 ? S_OK : S_FALSE));
        this->enumerator = clone;
        EXPECT_EQ(c.next, this->Next(1, c.next != 0 ? S_OK : S_FALSE));
    }
}

TYPED_TEST(EnumeratorTest, ChangeOfTheListIsNoticedUntilReset) {
    ASSERT_EQ(1, this->Next(1));
    TypeParam::Change(*this->filter.Get());
    EXPECT_EQ(0, this->Next(1, VFW_E_ENUM_OUT_OF_SYNC));
    EXPECT_EQ(VFW_E_ENUM_OUT_OF_SYNC, this->enumerator->Skip(1));
    ComPtr<typename TypeParam::Enumerator> clone;
    EXPECT_EQ(VFW_E_ENUM_OUT_OF_SYNC, this->enumerator->Clone(&clone));
    EXPECT_EQ(nullptr, clone.Get());
    EXPECT_EQ(S_OK, this->enumerator->Reset());
    EXPECT_EQ(12, this->Next(2));
    TypeParam::Shrink(*this->filter.Get());
    EXPECT_EQ(0, this->Next(1, S_FALSE)) << "a list that shrinks unnoticed just ends";
}

}  // namespace
