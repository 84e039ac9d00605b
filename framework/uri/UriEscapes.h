// Escaping and unescaping of URI text. Escapes stand for the bytes of the text's UTF-8 form.
//
//   EscapeUri(L"http://h/caf\u00e9 1?q", true)      http://h/caf%C3%A9%201?q
//   EscapeUriComponent(L"a/b:c")                    a%2Fb%3Ac
//   UnescapeUri(L"%e2%82%ac 5%")                    the euro sign, then " 5%"
//
// Null gives the empty string. Escapes are written in upper case and read in either. What is not an escape, a '%' that
// is not followed by two hexadecimal digits, is text like any other. Half of a surrogate pair, and bytes that are not
// UTF-8, become U+FFFD.
// Threads: any.  Errors: std::bad_alloc; std::length_error for text of hundreds of millions of characters.
#pragma once

#include <string>
#include <string_view>

// For a whole URI. Letters, digits and $-_.+!*'(),/:@;?&=|# stay; a '%' stays if `keepValidEscapes` is true and an
// escape begins there; all else is escaped. That goes for '[', ']' and '~' too.
[[nodiscard]] std::wstring EscapeUri(const wchar_t* text, bool keepValidEscapes);

// For one component: only letters, digits and $-_.+!*'(), stay.
[[nodiscard]] std::wstring EscapeUriComponent(const wchar_t* text);

// Resolves every escape, that of the character 0 included, once.
[[nodiscard]] std::wstring UnescapeUri(const wchar_t* text);

namespace framework {

// Resolves every escape once, except those of '#', '/', '?' and '%'. They stay as they are written, because the text
// would mean something else without them. CTKFUri::NormalizeUriEscapes does this to a URI's string.
[[nodiscard]] std::wstring NormalizeUriEscapesOf(const wchar_t* text);

// The UTF-8 form with every escape resolved once but those of '%' and of the characters that may delimit something:
// :/?#[]@!$&'()*+,;= (RFC 3986, 2.2). The escapes that are left are in upper case. Texts whose forms are equal mean the
// same; bytes that are not UTF-8 are kept apart.
[[nodiscard]] std::string ComparableUriText(std::wstring_view text);

}  // namespace framework
