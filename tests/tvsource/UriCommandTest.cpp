// What `uri` says of names of every kind.
#include "tests/tvsource/CHost.h"

#include <gtest/gtest.h>

TEST(Uri, EveryComponentIsALine) {
    const struct {
        const wchar_t* name;
        const char* lines;
    } kNames[] = {
        {L"HTTP://me:pw@example.org:8080/a%20b//\u00FC?q=1#top",
         "Scheme      http\nUser info   me:pw\nHost        example.org\nHost type   registered name\nPort        8080\n"
         "Path        /a%20b//\xC3\xBC\nSegment     a%20b\nSegment\nSegment     \xC3\xBC\nQuery       q=1\n"
         "Fragment    top\nLocal file  no\nOpens       through the data-service layer\n"},
        {L"file:///C:/a%20b.wav",
         "Scheme      file\nUser info\nHost\nHost type   none\nPort\nPath        /C:/a%20b.wav\nSegment     C:\n"
         "Segment     a%20b.wav\nQuery\nFragment\nLocal file  yes\nOpens       C:\\a b.wav\n"},
    };
    for (const auto& row : kNames) {
        const HostRun run = RunHost({L"uri", row.name});
        EXPECT_EQ(0u, run.exitCode);
        EXPECT_EQ(row.lines, run.out);
    }
}

TEST(Uri, HostTypesAreInWordsAndOnlyALocalFileHasAPathToOpen) {
    const struct {
        const wchar_t* name;
        const char *hostType, *opens;
    } kNames[] = {
        {L"http://192.0.2.1/x", "IPv4 address", "through the data-service layer"},
        {L"http://[2001:db8::1]/x", "IPv6 address", "through the data-service layer"},
        {L"\\\\server\\share\\x", "UNC server", "through the data-service layer"},
        {L"data:,x", "none", "through the data-service layer"},
        {L"sub/x#1.wav", "none", "sub\\x#1.wav"},
        {L"/x.wav", "none", "\\x.wav"},
    };
    for (const auto& row : kNames) {
        const HostRun run = RunHost({L"uri", row.name});
        EXPECT_EQ(0u, run.exitCode);
        EXPECT_NE(run.out.npos, run.out.find(std::string("\nHost type   ") + row.hostType + "\n")) << run.out;
        EXPECT_NE(run.out.npos, run.out.find(std::string("\nOpens       ") + row.opens + "\n")) << run.out;
    }
}

TEST(Uri, WhatDoesNotParseIsAnErrorThatNamesIt) {
    for (const wchar_t* name : {L"", L"\\\\.\\pipe\\x", L"http://h:99999/", L"http://[::1/", L"//"}) {
        const HostRun run = RunHost({L"uri", name});
        EXPECT_EQ(1u, run.exitCode);
        EXPECT_EQ("", run.out);
        EXPECT_NE(run.err.npos, run.err.find("'" + Utf8(name) + "' is no name")) << run.err;
    }
    EXPECT_EQ(2u, RunHost({L"uri"}).exitCode);
}
