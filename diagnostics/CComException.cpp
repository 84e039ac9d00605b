#include "diagnostics/CComException.h"

#include "base/CBstr.h"
#include "base/CodePageText.h"
#include "base/ComBoundary.h"
#include "base/ForeignCalls.h"
#include "base/FormatText.h"
#include "base/OrEmpty.h"
#include "diagnostics/ComErrors.h"
#include "diagnostics/HResultText.h"
#include "diagnostics/LogSite.h"

#include <oleauto.h>

namespace {

// The system's text counts only if it ends in a line break, which is taken off. A text without one is discarded on
// purpose: hosts compare what() with "Unknown error ...", which they get for such codes on every system.
std::wstring SystemMessageOf(HRESULT hr) {
    std::wstring text = TKRuntimeLogger::SystemText(hr, 0);
    if (text.size() < 2 || text.back() != L'\n')
        return base::FormatText(L"Unknown error 0x%0lX", static_cast<unsigned long>(hr));
    text.pop_back();
    if (text.back() == L'\r')
        text.pop_back();
    return text;
}

// False: the call fails, throws or gives null; `text` is as it was.
template <class Method>
bool ReadText(IErrorInfo& info, Method method, std::wstring& text) {
    base::CBstr read;
    if (FAILED(base::ComBoundary([&] { return base::Receive(read, &info, method); })))
        return false;
    text = read.View();
    return true;
}

}  // namespace

CComException::CComException(HRESULT hr, IErrorInfo* errorInfo) : m_result(hr), m_errorInfo(errorInfo) {}

CComException::CComException(HRESULT hr, const wchar_t* description, DWORD helpContext, const wchar_t* helpFile,
                             const wchar_t* source)
    : m_result(hr),
      m_description(base::OrEmpty(description)),
      m_helpContext(helpContext),
      m_helpFile(base::OrEmpty(helpFile)),
      m_source(base::OrEmpty(source)) {}

const char* CComException::what() const noexcept {
    try {
        return Filled().m_what.c_str();
    } catch (...) {
        return "Out of memory while an error was being described";
    }
}

HRESULT CComException::Report() const noexcept {
    if (!m_errorInfo && !m_description.empty())
        return SetComErrorInfo(m_result, GUID_NULL, m_description.c_str(), m_helpContext, m_helpFile.c_str(),
                               m_source.c_str());
    static_cast<void>(RestoreErrorInfo());
    return m_result;
}

HRESULT CComException::RestoreErrorInfo() const noexcept {
    return m_errorInfo ? ::SetErrorInfo(0, m_errorInfo.Get()) : E_FAIL;
}

const CComException& CComException::Filled() const {
    if (m_filled)
        return *this;
    m_systemMessage = SystemMessageOf(m_result);
    m_what = base::NarrowOfWide(CP_THREAD_ACP, m_systemMessage.c_str()).get();
    const bool described = m_errorInfo && ReadErrorInfo();
    if (!described && m_description.empty())
        m_description = m_systemMessage;
    m_filled = true;
    return *this;
}

// True: the error info object gave a description, an empty one perhaps.
bool CComException::ReadErrorInfo() const {
    IErrorInfo& info = *m_errorInfo.Get();
    const bool described = ReadText(info, &IErrorInfo::GetDescription, m_description);
    ReadText(info, &IErrorInfo::GetHelpFile, m_helpFile);
    ReadText(info, &IErrorInfo::GetSource, m_source);
    DWORD helpContext = 0;
    if (SUCCEEDED(base::ComBoundary([&] { return info.GetHelpContext(&helpContext); })))
        m_helpContext = helpContext;
    GUID interfaceId{};
    if (SUCCEEDED(base::ComBoundary([&] { return info.GetGUID(&interfaceId); })))
        m_interfaceId = interfaceId;
    return described;
}
