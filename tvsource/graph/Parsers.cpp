#include "tvsource/graph/Parsers.h"

#include "framework/values/CVariant.h"

#include <objbase.h>
#include <oleauto.h>
#include <strmif.h>
#include <uuids.h>
#include <wrl/client.h>

#include <algorithm>

namespace tvsource {

using Microsoft::WRL::ComPtr;

namespace {

const ParserClass kWaveParser = {L"WAVE Parser",
                                 {0xD51BD5A1, 0x7548, 0x11CF, {0xA5, 0x20, 0x00, 0x80, 0xC7, 0x7E, 0xF5, 0x8A}}};
const ParserClass kAviSplitter = {L"AVI Splitter",
                                  {0x1B544C20, 0xFD0B, 0x11CE, {0x8C, 0x63, 0x00, 0xAA, 0x00, 0x44, 0xB5, 0x1E}}};
const ParserClass kMpegSplitter = {L"MPEG-I Stream Splitter",
                                   {0x336475D0, 0x942A, 0x11CE, {0xA8, 0x70, 0x00, 0xAA, 0x00, 0x2F, 0xEA, 0xB5}}};
// Only Wine has this one. It takes any stream and finds out by itself what is in it.
const ParserClass kGenericParser = {L"generic parser",
                                    {0xF9D8D64E, 0xA144, 0x47DC, {0x8E, 0xE0, 0xF5, 0x34, 0x98, 0x37, 0x2C, 0x29}}};

const struct {
    const GUID& subtype;
    const ParserClass& parser;
} kParsers[] = {
    {MEDIASUBTYPE_WAVE, kWaveParser},          {MEDIASUBTYPE_AU, kWaveParser},
    {MEDIASUBTYPE_AIFF, kWaveParser},          {MEDIASUBTYPE_Avi, kAviSplitter},
    {MEDIASUBTYPE_MPEG1Audio, kMpegSplitter},  {MEDIASUBTYPE_MPEG1Video, kMpegSplitter},
    {MEDIASUBTYPE_MPEG1System, kMpegSplitter}, {MEDIASUBTYPE_MPEG1VideoCD, kMpegSplitter},
};

// A text that a registered filter has in its property bag; empty when it has none of that name.
std::wstring Property(IPropertyBag* properties, const wchar_t* name) {
    framework::CVariant value;
    if (FAILED(properties->Read(name, value.Put(), nullptr)) || value.Type() != VT_BSTR)
        return {};
    const BSTR text = value.Get().bstrVal;
    return {text, ::SysStringLen(text)};
}

// The filters that are registered for byte streams of a type, by merit.
std::vector<ParserClass> RegisteredFor(const StreamType& type) {
    std::vector<ParserClass> found;
    ComPtr<IFilterMapper2> mapper;
    ComPtr<IEnumMoniker> monikers;
    const GUID input[] = {type.major, type.subtype};
    if (FAILED(::CoCreateInstance(CLSID_FilterMapper2, nullptr, CLSCTX_INPROC_SERVER, __uuidof(IFilterMapper2),
                                  &mapper)) ||
        mapper->EnumMatchingFilters(&monikers, 0, TRUE, MERIT_UNLIKELY, TRUE, 1, input, nullptr, nullptr, FALSE, TRUE,
                                    0, nullptr, nullptr, nullptr) != S_OK)
        return found;
    ComPtr<IMoniker> moniker;
    while (monikers->Next(1, &moniker, nullptr) == S_OK) {
        ComPtr<IPropertyBag> properties;
        GUID classId{};
        if (SUCCEEDED(moniker->BindToStorage(nullptr, nullptr, __uuidof(IPropertyBag),
                                             reinterpret_cast<void**>(properties.GetAddressOf()))) &&
            SUCCEEDED(::CLSIDFromString(Property(properties.Get(), L"CLSID").c_str(), &classId)))
            found.push_back({Property(properties.Get(), L"FriendlyName"), classId});
    }
    return found;
}

}  // namespace

std::vector<ParserClass> ParsersFor(const std::vector<StreamType>& types) {
    std::vector<ParserClass> parsers;
    const auto add = [&](const ParserClass& parser) {
        if (std::none_of(parsers.begin(), parsers.end(),
                         [&](const ParserClass& other) { return other.classId == parser.classId; }))
            parsers.push_back(parser);
    };
    for (const StreamType& type : types) {
        for (const auto& row : kParsers) {
            if (row.subtype == type.subtype)
                add(row.parser);
        }
        add(kGenericParser);
        for (const ParserClass& parser : RegisteredFor(type))
            add(parser);
    }
    return parsers;
}

}  // namespace tvsource
