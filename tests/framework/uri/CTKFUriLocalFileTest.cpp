// What is a file on this machine, and under which path.
#include "framework/uri/CTKFUri.h"

#include <gtest/gtest.h>

#include <chrono>

namespace {

[[nodiscard]] std::string Shown(const std::wstring& text) {
    return ::testing::PrintToString(text);
}

TEST(LocalFile, NamesOnThisMachineHaveAPath) {
    const struct {
        const wchar_t *name, *localPath;
    } table[] = {
        // paths mean what they say, character for character
        {LR"(C:\dir\a b#1%20.mp3)", LR"(C:\dir\a b#1%20.mp3)"},
        {LR"(C:\what?query=1#fragment)", LR"(C:\what?query=1#fragment)"},
        {L"c:/x/y.wav", LR"(c:\x\y.wav)"},
        {LR"(C:)", LR"(C:)"},
        {LR"(C:clip.wav)", LR"(C:clip.wav)"},
        {LR"(C:\x.wav:alternate)", LR"(C:\x.wav:alternate)"},
        {L"C:\\caf\u00e9\u4e2d\U0001F3B5.ogg", L"C:\\caf\u00e9\u4e2d\U0001F3B5.ogg"},
        {L"C:\\bell\a\ttab.wav", L"C:\\bell\a\ttab.wav"},
        {L"clip.wav", L"clip.wav"},
        {L" leading blank.wav", L" leading blank.wav"},
        {L"100%.wav", L"100%.wav"},
        {L"?", L"?"},
        {LR"(..\x)", LR"(..\x)"},
        {LR"(.\a:b)", LR"(.\a:b)"},
        {L"1:30.wav", L"1:30.wav"},  // a scheme begins with a letter
        {LR"(\dir\x)", LR"(\dir\x)"},
        {L"/dir/x", LR"(\dir\x)"},
        {LR"(\\?\C:\long\..\x)", LR"(\\?\C:\long\..\x)"},
        {L"//?/C:/x", LR"(\\?\C:\x)"},
        {LR"(\\?\Volume{26a21bda}\x)", LR"(\\?\Volume{26a21bda}\x)"},
        // file URLs
        {L"file:///C:/a%20b.wav", LR"(C:\a b.wav)"},
        {L"FILE:///c:/x", LR"(c:\x)"},
        {L"file:/C:/x", LR"(C:\x)"},
        {L"file:C:/x", LR"(C:\x)"},
        {L"file://localhost/C:/x", LR"(C:\x)"},
        {L"file://user@localhost/C:/x", LR"(C:\x)"},
        {L"file:///C|/x", LR"(C:\x)"},
        {L"file:///C%3A/x", LR"(C:\x)"},
        {L"file://C:/x", LR"(C:\x)"},
        {L"file:////C:/x", LR"(C:\x)"},
        {L"file://localhost//C:/x", LR"(C:\x)"},
        {LR"(file:///C:\dir\x)", LR"(C:\dir\x)"},
        {LR"(file:\\C:\dir\x)", LR"(C:\dir\x)"},
        {L"file:///C:", L"C:"},
        {L"file:///C:/x#t=10", LR"(C:\x)"},
        {L"file:///C:/x?a/b#c?d", LR"(C:\x)"},
        {L"file:///C:/x%23y%3fz%25", LR"(C:\x#y?z%)"},
        {L"file:///C:/a b|c\u00e9", L"C:\\a b|c\u00e9"},
        {L"file:///dir/x", LR"(\dir\x)"},
        {L"file:/dir/x", LR"(\dir\x)"},
        {L"file:///C|x/y", LR"(\C|x\y)"},  // no drive
        {L"file:clip.wav", L"clip.wav"},
        // escapes are UTF-8, and stay as they are where they aren't
        {L"file:///C:/%C3%A9%e4%b8%ad", L"C:\\\u00e9\u4e2d"},
        {L"file:///C:/%F0%9F%8E%B5", L"C:\\\U0001F3B5"},
        {L"file:///C:/%2520", LR"(C:\%20)"},  // resolved once
        {L"file:///C:/100%", LR"(C:\100%)"},
        {L"file:///C:/%%41%4g", LR"(C:\%A%4g)"},
        {L"file:///C:/%FF%80x", LR"(C:\%FF%80x)"},
        {L"file:///C:/%C3%41", LR"(C:\%C3A)"},
        {L"file:///C:/%C3", LR"(C:\%C3)"},
        {L"file:///C:/%C0%AF", LR"(C:\%C0%AF)"},              // an overlong '/'
        {L"file:///C:/%ED%A0%80", LR"(C:\%ED%A0%80)"},        // half of a surrogate pair
        {L"file:///C:/%F4%90%80%80", LR"(C:\%F4%90%80%80)"},  // beyond U+10FFFF
        {L"file:///C:/x.wav%00.mp3", LR"(C:\x.wav%00.mp3)"},  // would end the name early
        {L"file:///C:/a%2F..%5Cb", LR"(C:\a%2F..%5Cb)"},      // would be other folders
        {L"file:///%5C%5Cserver/x", LR"(\%5C%5Cserver\x)"},   // would be a server
        {L"file:%2f%2Fserver/x", LR"(%2f%2Fserver\x)"},
    };
    for (const auto& row : table) {
        SCOPED_TRACE(Shown(row.name));
        const auto uri = CTKFUri::Parse(row.name);
        ASSERT_TRUE(uri);
        EXPECT_TRUE(uri->IsFileUrl());
        EXPECT_TRUE(uri->IsLocalFile());
        EXPECT_EQ(row.localPath, uri->GetLocalPath());
    }
}

TEST(LocalFile, WhatLeadsOffTheMachineIsNotLocal) {
    const auto expectNotLocal = [](const wchar_t* name, bool isFileUrl) {
        SCOPED_TRACE(Shown(name));
        const auto uri = CTKFUri::Parse(name);
        ASSERT_TRUE(uri);
        EXPECT_EQ(isFileUrl, uri->IsFileUrl());
        EXPECT_FALSE(uri->IsLocalFile());
        EXPECT_EQ(L"", uri->GetLocalPath());
    };
    for (const wchar_t* name : {LR"(\\server\share\f)",
                                L"//server/share/f",
                                LR"(\\server)",
                                LR"(\\localhost\C$\x)",
                                LR"(\\server@SSL\DavWWWRoot\x)",
                                LR"(\\?\UNC\server\share\x)",
                                LR"(\\?\unc\server\share)",
                                L"file://server/share/x",
                                L"file://192.0.2.1/C:/x",
                                L"file://[::1]/C:/x",
                                L"file://localhost:80/C:/x",
                                LR"(file:\\server\share\x)",
                                L"file:////server/share",
                                L"file://///server/share",
                                L"file:////localhost/share",
                                L"file://localhost//server/share",
                                L"file:////./pipe/x",
                                L"file://./pipe/x",
                                L"file:///%3F%3F/pipe/x",
                                L"file://?/C:/x",
                                L"file:",
                                L"file://",
                                L"file://localhost"})
        expectNotLocal(name, true);
    for (const wchar_t* name :
         {L"http://localhost/C:/x", L"https://example.org/x.mp4", L"data:audio/wav;base64,UklGRg==",
          L"mailto:a@example.org", L"foo:bar", L"ab:\\dir\\x", L"clip.wav:alternate", L"filex:///C:/x"})
        expectNotLocal(name, false);
}

TEST(LocalFile, DevicesAndServerPathsWithoutServerAreNoNames) {
    for (const wchar_t* name : {L"",
                                LR"(\\)",
                                L"//",
                                LR"(\\\server)",
                                LR"(\\.)",
                                LR"(\\.\C:\x)",
                                LR"(\\.\pipe\x)",
                                LR"(\\.\PhysicalDrive0)",
                                LR"(\\?)",
                                LR"(\\?\)",
                                LR"(\\?\C:)",
                                LR"(\\?\pipe\x)",
                                LR"(\\?\GLOBALROOT\Device\x)",
                                LR"(\\?\Volume{26a21bda})",
                                LR"(\\?\UNC\)",
                                LR"(\\?\UNC\.\pipe)",
                                LR"(\??\C:\x)",
                                L"//C:/x",
                                LR"(\\ser:ver\x)",
                                L"file:////ser:ver/x",
                                L"file:///C:/line\nfeed"})
        EXPECT_FALSE(CTKFUri::Parse(name)) << Shown(name);
    EXPECT_FALSE(CTKFUri::Parse(nullptr));
}

TEST(LocalFile, LongNamesTakeTimeInProportionToTheirLength) {
    for (const std::wstring start :
         {L"", LR"(C:\)", LR"(\\)", L"file:///", L"file://", L"http://h/", L"http://", L"http://[", L"http://h:", L"%"})
        for (const std::wstring filler :
             {L"a", L"/", LR"(\)", L":", L"@", L"%C3%A9", L"%C3", L"0", L"1:", L".", L"?#", L"\x01", L"\u00e9"}) {
            std::wstring name = start;
            while (name.size() < 32000)
                name += filler;
            // A millisecond is usual; what grows with the square of the length takes many seconds.
            const auto begin = std::chrono::steady_clock::now();
            static_cast<void>(CTKFUri::Parse(name.c_str()));
            EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(2)) << Shown(start + filler);
        }
}

}  // namespace
