// What `uri` says of names of every kind.
#include "tests/tvsource/CHost.h"

#include <gtest/gtest.h>

TEST(Uri, EveryComponentIsALine) {
    EXPECT_EQ(
        "Scheme      http\nUser info   ***\nHost        example.org\nHost type   registered name\nPort        8080\n"
        "Path        /a%20b//\xC3\xBC\nSegment     a%20b\nSegment\nSegment     \xC3\xBC\nQuery       q=1\n"
        "Fragment    top\nLocal file  no\nOpens       through the data-service layer\n",
        RunHost({L"uri", L"HTTP://me:pw@example.org:8080/a%20b//\u00FC?q=1#top"}).out);
    EXPECT_EQ(
        "Scheme      file\nUser info\nHost\nHost type   none\nPort\nPath        /C:/a%20b.wav\nSegment     C:\n"
        "Segment     a%20b.wav\nQuery\nFragment\nLocal file  yes\nOpens       C:\\a b.wav\n",
        RunHost({L"uri", L"file:///C:/a%20b.wav"}).out);
}

TEST(Uri, CredentialsAreShownOfNoName) {
    for (const wchar_t* name : {L"view-source:http://me:pw@h/x", L"me:pw@h/x"})
        EXPECT_EQ(std::string::npos, RunHost({L"uri", name}).out.find("pw")) << Utf8(name);
}

TEST(Uri, HostTypesAreInWords) {
    const std::pair<const wchar_t*, std::string> kNames[] = {{L"http://192.0.2.1/x", "IPv4 address"},
                                                             {L"http://[2001:db8::1]/x", "IPv6 address"},
                                                             {L"\\\\server\\share\\x", "UNC server"}};
    for (const auto& [name, type] : kNames)
        ExpectRun(RunHost({L"uri", name}), 0, {"\nHost type   " + type + "\n"});
}

TEST(Uri, BlanksAndQuotationMarksAroundAUrlAreNoPartOfIt) {
    const std::string url = RunHost({L"uri", L"http://h/x'"}).out;
    EXPECT_NE(url.npos, url.find("\nPath        /x'\n")) << url;
    for (const wchar_t* name : {L" http://h/x'\t", L"\"http://h/x'\"", L"' http://h/x' '", L"\u201Chttp://h/x'\u201D",
                                L"\u00A0\"http://h/x'"})
        EXPECT_EQ(url, RunHost({L"uri", name}).out) << Utf8(name);
    for (const wchar_t* name : {L" x ", L"'x'", L" 'c:x' "})
        ExpectRun(RunHost({L"uri", name}), 0, {"\nOpens       " + Utf8(name) + "\n"});
}

TEST(Uri, WhatDoesNotParseIsAnErrorThatNamesIt) {
    for (const wchar_t* name : {L"", L"\\\\.\\pipe\\x", L"http://h:99999/"})
        ExpectRun(RunHost({L"uri", name}), 1, {"'" + Utf8(name) + "' is no name"});
}
