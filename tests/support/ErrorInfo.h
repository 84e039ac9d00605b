// The calling thread's error info, as tests compare it.
#pragma once

#include "base/CBstr.h"

#include <windows.h>

#include <oleauto.h>
#include <wrl/client.h>

#include <gtest/gtest.h>

#include <string>
#include <utility>

// The description, and the interface that reported it. Nothing there: "none" and zeros.
using ErrorInfoSeen = std::pair<std::wstring, std::wstring>;

[[nodiscard]] inline ErrorInfoSeen ErrorInfoOf(const std::wstring& text, REFIID iid) {
    wchar_t id[64]{};
    ::StringFromGUID2(iid, id, 64);
    return {text, id};
}

inline const ErrorInfoSeen kNoErrorInfo = ErrorInfoOf(L"none", GUID{});

// Takes it from the thread, as COM has it.
[[nodiscard]] inline ErrorInfoSeen TakeErrorInfo() {
    Microsoft::WRL::ComPtr<IErrorInfo> info;
    if (::GetErrorInfo(0, &info) != S_OK)
        return kNoErrorInfo;
    base::CBstr text;
    GUID iid{};
    EXPECT_EQ(S_OK, info->GetDescription(text.Put()));
    EXPECT_EQ(S_OK, info->GetGUID(&iid));
    return ErrorInfoOf(std::wstring(text.View()), iid);
}

// What `object` says of an interface; E_NOINTERFACE: it says nothing.
[[nodiscard]] inline HRESULT ReportsErrorsOf(IUnknown& object, REFIID iid) {
    Microsoft::WRL::ComPtr<ISupportErrorInfo> support;
    const HRESULT hr = object.QueryInterface(IID_PPV_ARGS(&support));
    return FAILED(hr) ? hr : support->InterfaceSupportsErrorInfo(iid);
}
