// The metadata classes of a data-service layer: they write down what is done with them, and misbehave as a test says.
//
//   CFakeMetadataService service;
//   service.fault = {{L"Extract", Fault::Fail}};
//
// The classes exist in this process, for all threads of its multithreaded apartment, while the object lives; so do the
// objects made from them.  Threads: set what misbehaves before the classes are used.
#pragma once

#include "tests/support/CRegisteredComClass.h"

#include <windows.h>

#include <objidl.h>
#include <oleauto.h>

#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

class CFakeMetadataService final {
public:
    enum class Fault { Fail, Throw, GiveNull };

    // What the step of this name does instead. Steps, in their usual order: "create reader", "create keys",
    // "create options", "Insert", "GetConstAccessor", "CreateMetaData", "Extract", "GetGeneralMetaData", "GetValue".
    std::optional<std::pair<std::wstring, Fault>> fault;
    // The value of every key.
    std::function<HRESULT(VARIANT* value)> getValue = TextValue(L"video/mpeg");

    CFakeMetadataService();
    CFakeMetadataService(const CFakeMetadataService&) = delete;
    CFakeMetadataService& operator=(const CFakeMetadataService&) = delete;

    [[nodiscard]] static std::function<HRESULT(VARIANT*)> TextValue(std::wstring text);

    // Every step with its arguments, and "released <object>" for each object's end.
    [[nodiscard]] std::vector<std::wstring> Events() const;
    [[nodiscard]] long LiveObjects() const { return m_liveObjects; }
    [[nodiscard]] IStream* Extracted() const { return m_extracted; }  // the stream of the last extraction

private:
    template <class Interface>
    class CObject;
    class CReader;
    class CKeys;
    class CKeySet;
    class COptions;
    class CMetaData;
    class CProperties;

    // Writes the step down and does its fault; a failure code is the caller's result.
    HRESULT Step(const std::wstring& step, const std::wstring& arguments = {});
    template <class Object, class Interface>
    HRESULT Give(const wchar_t* step, Interface** object);
    template <class Object>
    [[nodiscard]] CRegisteredComClass::Creator Creator(const wchar_t* step);

    mutable std::mutex m_mutex;  // guards m_events
    std::vector<std::wstring> m_events;
    std::atomic<long> m_liveObjects{0};
    std::atomic<IStream*> m_extracted{nullptr};
    const CRegisteredComClass m_readers;
    const CRegisteredComClass m_keyLists;
    const CRegisteredComClass m_options;
};
