// A failure with everything that can be learned about it: the result code, and, asked for only when somebody reads
// them, the system's text and what the error info object says.
//
//   try { ThrowComError(hr); }
//   catch (const CComException& e) { Show(e.GetDescription()); }
//
// Texts are filled in at the first read and stay as they are then. An error info object is foreign code: a call that
// fails or throws counts as one that has nothing to say.
//
// Threads: one at a time until the object has been read once.  Lifetime: holds a reference to the error info object;
// copies share it.
// Errors: reading throws std::bad_alloc or CAtlException when memory is out, and the next read starts anew; what()
// never throws.
#pragma once

#include "base/CResultException.h"

#include <windows.h>

#include <oaidl.h>
#include <wrl/client.h>

#include <exception>
#include <string>

class CComException : public std::exception, public base::CResultException {
public:
    // `errorInfo` may be null.
    CComException(HRESULT hr, IErrorInfo* errorInfo);

    // Null texts are empty ones. There is no error info object.
    CComException(HRESULT hr, const wchar_t* description, DWORD helpContext, const wchar_t* helpFile,
                  const wchar_t* source);

    [[nodiscard]] HRESULT GetResult() const noexcept { return m_result; }

    // The result code. The error info object becomes the thread's; where there is none, one made of the texts does, if
    // there is a description.
    [[nodiscard]] HRESULT Report() const noexcept override;

    // The system message in the ANSI code page of the thread that reads first. A fixed text when memory is out.
    [[nodiscard]] const char* what() const noexcept override;

    // The system's text without its line break, or "Unknown error 0x80040003".
    [[nodiscard]] const std::wstring& GetSystemMessage() const { return Filled().m_systemMessage; }

    // What the error info object says, else what was given at construction, else the system message.
    [[nodiscard]] const std::wstring& GetDescription() const { return Filled().m_description; }

    [[nodiscard]] const std::wstring& GetHelpFile() const { return Filled().m_helpFile; }
    [[nodiscard]] const std::wstring& GetSource() const { return Filled().m_source; }
    [[nodiscard]] DWORD GetHelpContext() const { return Filled().m_helpContext; }
    [[nodiscard]] const GUID& GetInterfaceId() const { return Filled().m_interfaceId; }

    // Installs the error info object for the calling thread again, so that its caller can fetch it.  E_FAIL: there is
    // none.
    HRESULT RestoreErrorInfo() const noexcept;

private:
    const CComException& Filled() const;
    [[nodiscard]] bool ReadErrorInfo() const;

    HRESULT m_result;
    Microsoft::WRL::ComPtr<IErrorInfo> m_errorInfo;
    mutable std::wstring m_systemMessage;
    mutable std::string m_what;
    mutable std::wstring m_description;
    mutable DWORD m_helpContext = 0;
    mutable std::wstring m_helpFile;
    mutable std::wstring m_source;
    mutable GUID m_interfaceId{};
    mutable bool m_filled = false;
};
