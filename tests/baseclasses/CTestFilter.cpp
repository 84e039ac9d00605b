#include "tests/baseclasses/CTestFilter.h"

#include <algorithm>

CMediaType TestType(unsigned char number) {
    CMediaType type(&MEDIATYPE_Stream);
    type.subtype.Data4[7] = number;
    type.SetFormatType(&FORMAT_VideoInfo);
    return type;
}

unsigned char NumberOf(const AM_MEDIA_TYPE& type) {
    return type.subtype.Data4[7];
}

CTestPin::CTestPin(CBaseFilter* filter, CCritSec* lock, const wchar_t* name, PIN_DIRECTION direction, Journal& journal)
    : CBasePin(L"test pin", filter, lock, nullptr, name, direction), m_journal(journal) {}

HRESULT CTestPin::Note(const char* what, HRESULT result) {
    m_journal.emplace_back(what);
    return result;
}

HRESULT CTestPin::CheckConnect(IPin* pin) {
    ++heldConnections;
    return checkConnectResult == S_OK ? CBasePin::CheckConnect(pin) : checkConnectResult;
}

HRESULT CTestPin::BreakConnect() {
    --heldConnections;
    return S_OK;
}

HRESULT CTestPin::CompleteConnect(IPin*) {
    return completeConnectResult;
}

HRESULT CTestPin::CheckMediaType(const CMediaType* type) {
    const unsigned char number = NumberOf(*type);
    m_journal.push_back("check " + std::to_string(number));
    return std::ranges::count(accepted, number) != 0 ? S_OK : refusal;
}

HRESULT CTestPin::SetMediaType(const CMediaType* type) {
    return FAILED(setMediaTypeResult) ? setMediaTypeResult : CBasePin::SetMediaType(type);
}

HRESULT CTestPin::GetMediaType(int position, CMediaType* type) {
    if (position < 0 || static_cast<size_t>(position) >= offered.size())
        return VFW_S_NO_MORE_ITEMS;
    return type->Set(TestType(offered[static_cast<size_t>(position)]));
}

HRESULT CTestPin::Active() {
    return Note("active", activeResult);
}

HRESULT CTestPin::Inactive() {
    return Note("inactive", inactiveResult);
}

HRESULT CTestPin::Run(REFERENCE_TIME start) {
    m_journal.push_back("run " + std::to_string(start));
    return runResult;
}

STDMETHODIMP CTestPin::BeginFlush() {
    return Note("begin flush", S_OK);
}

STDMETHODIMP CTestPin::EndFlush() {
    return Note("end flush", S_OK);
}

CTestFilter::CTestFilter(IUnknown* outer, HRESULT* phr)
    : CBaseFilter(L"test filter", outer, &m_lock, CLSID_TestFilter, phr) {}

CTestPin& CTestFilter::AddPin(const wchar_t* name, PIN_DIRECTION direction) {
    m_pins.push_back(std::make_unique<CTestPin>(this, &m_lock, name, direction, journal));
    return *m_pins.back();
}

int CTestFilter::GetPinCount() {
    return static_cast<int>(m_pins.size());
}

CBasePin* CTestFilter::GetPin(int n) {
    return n >= 0 && n < GetPinCount() ? m_pins[static_cast<size_t>(n)].get() : nullptr;
}
