#include "tests/baseclasses/CTestFilter.h"

#include <algorithm>

CMediaType TestType(unsigned char number) {
    CMediaType type(&MEDIATYPE_Stream);
    type.subtype.Data4[7] = number;
    type.SetFormatType(&FORMAT_VideoInfo);
    return type;
}

HRESULT CTestPin::CheckMediaType(const CMediaType* type) {
    const unsigned char number = NumberOf(*type);
    return Note("check " + std::to_string(number), std::ranges::count(accepted, number) != 0 ? S_OK : refusal);
}

HRESULT CTestPin::GetMediaType(int position, CMediaType* type) {
    onGetMediaType(position);
    if (position < 0 || static_cast<size_t>(position) >= offered.size())
        return VFW_S_NO_MORE_ITEMS;
    return type->Set(TestType(offered[static_cast<size_t>(position)]));
}

CTestPin& CTestFilter::AddPin(const wchar_t* name, PIN_DIRECTION direction) {
    m_pins.push_back(std::make_unique<CTestPin>(this, &m_lock, name, direction, journal));
    return *m_pins.back();
}
