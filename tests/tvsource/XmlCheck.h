// Whether text is well-formed XML, by the platform's parser.
#pragma once

#include "base/CBstr.h"
#include "base/Utf8Text.h"

#include <windows.h>

#include <gtest/gtest.h>
#include <msxml2.h>
#include <wrl/client.h>

#include <string>

// Null: the platform has no parser, as Wine 8 for 32-bit programs.
inline Microsoft::WRL::ComPtr<IXMLDOMDocument> MakeXmlDocument() {
    Microsoft::WRL::ComPtr<IXMLDOMDocument> document;
    CLSID classId{};
    if (SUCCEEDED(::CLSIDFromProgID(L"Msxml2.DOMDocument.3.0", &classId)))
        static_cast<void>(::CoCreateInstance(classId, nullptr, CLSCTX_INPROC_SERVER, IID_IXMLDOMDocument,
                                             reinterpret_cast<void**>(document.GetAddressOf())));
    return document;
}

// How many elements of the name it has; -1, with the parser's reason, if it is no XML.
inline long CountElements(std::string xml, const wchar_t* name) {
    const Microsoft::WRL::ComPtr<IXMLDOMDocument> document = MakeXmlDocument();
    if (xml.starts_with("<?xml"))
        xml.erase(0, xml.find("?>") + 2);  // the encoding is another one here
    VARIANT_BOOL isGood = VARIANT_FALSE;
    Microsoft::WRL::ComPtr<IXMLDOMNodeList> list;
    long count = -1;
    if (document->loadXML(base::CBstr(base::WideOfUtf8(xml).c_str()).Get(), &isGood) == S_OK && isGood &&
        SUCCEEDED(document->getElementsByTagName(base::CBstr(name).Get(), &list)))
        list->get_length(&count);
    Microsoft::WRL::ComPtr<IXMLDOMParseError> error;
    base::CBstr reason;
    if (count < 0 && SUCCEEDED(document->get_parseError(&error)) && SUCCEEDED(error->get_reason(reason.Put())))
        ADD_FAILURE() << reason.Get() << "\n" << xml;
    return count;
}
