// What the tests of this folder share: the built data-service layer, reached as its callers reach it.
#pragma once

#include "TKDataServices.h"
#include "base/CAutoDestructor.h"
#include "base/CBstr.h"
#include "framework/values/CTKCFPropertyValues.h"
#include "framework/values/CopyVariantToComPointer.h"
#include "tests/support/CRegisteredComClass.h"
#include "tests/support/CTempFolder.h"
#include "tests/support/CTestApartment.h"
#include "tests/support/Results.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

using Microsoft::WRL::ComPtr;
using Texts = std::vector<std::wstring>;

// The classes of the built DLL, without registration, for all threads of the multithreaded apartment.
class CBuiltLayer final {
public:
    CBuiltLayer() {
        for (const CLSID& clsid : {CLSID_TKDSUriAccessFactory, CLSID_TKDSVirtualDirectoryFactory, CLSID_TKCFStringList,
                                   CLSID_TKDSMetaDataReader, CLSID_TKDSMetaDataExtractionOptions})
            m_classes.push_back(std::make_unique<CRegisteredComClass>(
                clsid, [this, clsid](REFIID iid, void** object) { return Create(clsid, iid, object); }));
    }
    static std::wstring Path() {
        return std::filesystem::absolute(std::filesystem::path(TV_BIN_DIR) / L"TvDataServices.dll").make_preferred();
    }

private:
    HRESULT Create(REFCLSID clsid, REFIID iid, void** object) const {
        const auto getClass = reinterpret_cast<decltype(&::DllGetClassObject)>(
            reinterpret_cast<void*>(::GetProcAddress(m_library, "DllGetClassObject")));
        ComPtr<IClassFactory> factory;
        const HRESULT hr = getClass ? getClass(clsid, IID_PPV_ARGS(&factory)) : E_UNEXPECTED;
        return FAILED(hr) ? hr : factory->CreateInstance(nullptr, iid, object);
    }

    const CTestApartment m_apartment{COINIT_MULTITHREADED};
    // Never freed: a thread of the HTTP library may be on its way out of it.
    const HMODULE m_library = ::LoadLibraryW(Path().c_str());
    std::vector<std::unique_ptr<CRegisteredComClass>> m_classes;
};

struct LayerTest : ::testing::Test {
    template <class Interface>
    static ComPtr<Interface> New(REFCLSID clsid) {
        ComPtr<Interface> object;
        EXPECT_EQ(S_OK, base::CreateObject(clsid, object));
        return object;
    }
    template <class Interface>
    HRESULT Open(const std::wstring& uri, const wchar_t* accessor, ComPtr<Interface>& to) const {
        framework::CVariant variant;
        const HRESULT hr =
            factory->OpenUriAs(base::CBstr(uri.c_str()).Get(), base::CBstr(accessor).Get(), variant.Put());
        EXPECT_EQ(SUCCEEDED(hr) ? VT_UNKNOWN : VT_EMPTY, variant.Type());
        return FAILED(hr) ? hr : CopyVariantToComPointer(variant, to.ReleaseAndGetAddressOf());
    }
    HRESULT OpenAs(const std::wstring& uri, const wchar_t* accessor) const {
        ComPtr<IUnknown> object;
        return Open(uri, accessor, object);
    }
    static HRESULT OpenEntryAs(const ComPtr<ITKDSDirectory>& directory, const std::wstring& id,
                               const wchar_t* accessor = TKDS_ACCESSOR_SOURCEINFO) {
        framework::CVariant variant;
        return directory->OpenEntryAs(base::CBstr(id.c_str()).Get(), base::CBstr(accessor).Get(), variant.Put());
    }
    // The text that a method gives, or "0x..." for its failure.
    template <class Object, class Method, class... Arguments>
    static std::wstring TextOf(const ComPtr<Object>& object, Method method, Arguments... arguments) {
        base::CBstr text;
        const HRESULT hr = base::Receive(text, object.Get(), method, arguments...);
        wchar_t code[16]{};
        ::swprintf_s(code, 16, L"0x%08X", static_cast<unsigned>(hr));
        return FAILED(hr) ? code : std::wstring(text.View());
    }
    // All texts of a list, by its method that counts them and the one that gives each.
    template <class Object, class Count, class Item>
    static Texts TextsOf(const ComPtr<Object>& object, Count countOf, Item item) {
        Texts texts;
        long count = -1;
        EXPECT_EQ(S_OK, (object.Get()->*countOf)(&count));
        for (long index = 0; index < count; ++index)
            texts.push_back(TextOf(object, item, index));
        return texts;
    }
    static Texts IdsOf(const ComPtr<ITKDSDirectory>& directory) {
        return TextsOf(directory, &ITKDSDirectory::GetEntryCount, &ITKDSDirectory::GetEntryId);
    }
    std::wstring UriOf(const std::wstring& name) const {
        ComPtr<ITKDSSourceInfo> info;
        EXPECT_EQ(S_OK, Open(name, TKDS_ACCESSOR_SOURCEINFO, info)) << ::testing::PrintToString(name);
        return info ? TextOf(info, &ITKDSSourceInfo::GetUri) : L"";
    }
    // The properties as "key=value".
    static Texts PropertiesOf(const ComPtr<ITKDSMetaData>& metaData) {
        ComPtr<ITKCFPropertySet> set;
        EXPECT_EQ(S_OK, base::Receive(set, metaData.Get(), &ITKDSMetaData::GetGeneralMetaData));
        Texts properties;
        for (const std::wstring& key : TextsOf(set, &ITKCFPropertySet::GetCount, &ITKCFPropertySet::GetKey)) {
            std::wstring value;
            EXPECT_EQ(S_OK, CTKCFPropertyValues(set.Get()).GetString(key.c_str(), &value));
            properties.push_back(key + L"=" + value);
        }
        return properties;
    }
    static ComPtr<ITKCFConstStringList> Keys(const Texts& keys) {
        const auto list = New<ITKCFStringList>(CLSID_TKCFStringList);
        for (const std::wstring& key : keys)
            EXPECT_EQ(S_OK, list->Add(base::CBstr(key.c_str()).Get()));
        ComPtr<ITKCFConstStringList> face;
        EXPECT_EQ(S_OK, list->GetConstAccessor(&face));
        return face;
    }
    static std::wstring Media(const wchar_t* name) {
        return (std::filesystem::path(TV_TEST_MEDIA) / name).make_preferred();
    }

    const CBuiltLayer layer;
    const ComPtr<ITKDSUriAccessFactory> factory = New<ITKDSUriAccessFactory>(CLSID_TKDSUriAccessFactory);
};
