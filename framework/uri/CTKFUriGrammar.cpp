#include "framework/uri/CTKFUriGrammar.h"

#include "base/AsciiText.h"
#include "framework/uri/EscapedByte.h"

#include <boost/spirit/include/classic_assign_actor.hpp>
#include <boost/spirit/include/classic_core.hpp>
#include <boost/spirit/include/classic_loops.hpp>
#include <boost/spirit/include/classic_push_back_actor.hpp>

#include <algorithm>

namespace framework {

namespace {

using namespace boost::spirit::classic;

using Rule = rule<scanner<const wchar_t*>>;
using Notation = CTKFUriParts::Notation;

// Stores a fixed value once the parser that it is attached to has matched.
template <class T>
class CSet final {
public:
    CSet(T& target, T value) : m_target(target), m_value(value) {}
    void operator()(const wchar_t*, const wchar_t*) const { m_target = m_value; }

private:
    T& m_target;
    T m_value;
};

// Matches a character that a function accepts. The library's own sets live on the heap and are copied with every parser
// that they become part of, which took more time than all the parsing.
class CIs final : public char_parser<CIs> {
public:
    using Function = bool (*)(wchar_t) noexcept;
    explicit CIs(Function function) noexcept : m_function(function) {}
    [[nodiscard]] bool test(wchar_t character) const noexcept { return m_function(character); }

private:
    Function m_function;
};

[[nodiscard]] constexpr bool IsOneOf(wchar_t character, std::wstring_view characters) noexcept {
    return characters.find(character) != characters.npos;
}

[[nodiscard]] constexpr bool IsControl(wchar_t character) noexcept {
    return character < L' ' || character == L'\x7f';
}

[[nodiscard]] constexpr bool IsHostCharacter(wchar_t character) noexcept {
    return base::IsAsciiLetterOrDigit(character) || character >= L'\x80' || IsOneOf(character, L"._~!$&'()*+,;=-");
}

[[nodiscard]] constexpr bool IsServerCharacter(wchar_t character) noexcept {
    return !IsControl(character) && !IsOneOf(character, L"/\\?#*:|\"<>");
}

[[nodiscard]] constexpr bool IsUriCharacter(wchar_t character) noexcept {
    return !IsControl(character) && !IsOneOf(character, L"?#");
}

// Plain rules instead of the library's grammar template: that one keeps its definitions in static tables without a
// lock, and names are parsed on many threads.
//
// The library does not go back into an alternative that has matched, and what an action stored stays stored when the
// alternative fails later on. So alternatives tell themselves apart by looking ahead before their first action, and one
// that fails after it makes the whole name fail.
class CRules final {
public:
    explicit CRules(CTKFUriParts& parts) {
        m_scheme = m_letter >> +(m_letter | m_digit | L'+' | L'-' | L'.');
        m_escape = ch_p(L'%') >> m_hexDigit >> m_hexDigit;
        DefineAddresses();
        DefineAuthority(parts);
        DefinePath(parts);
        DefineUri(parts);
        name = m_path | m_fileUrl | m_uri;
    }
    CRules(const CRules&) = delete;
    CRules& operator=(const CRules&) = delete;

    Rule name;

private:
    void DefineAddresses() {
        m_octet = (str_p(L"25") >> range_p(L'0', L'5')) | (ch_p(L'2') >> range_p(L'0', L'4') >> m_digit) |
                  (ch_p(L'1') >> m_digit >> m_digit) | (range_p(L'1', L'9') >> m_digit) | m_digit;
        m_ipv4 = m_octet >> repeat_p(3)[ch_p(L'.') >> m_octet];

        m_group = repeat_p(1, 4)[m_hexDigit];
        m_last32Bits = (m_group >> L':' >> m_group) | m_ipv4;
        // One alternative for each number of groups behind "::"; the closing bracket makes a wrong guess fail.
        const auto end = eps_p(ch_p(L']'));
        const auto groups = [this](int count) { return repeat_p(count)[m_group >> L':']; };
        const auto upTo = [this](int count) { return !(m_group >> repeat_p(0, count - 1)[ch_p(L':') >> m_group]); };
        m_ipv6 = (groups(6) >> m_last32Bits >> end) | (str_p(L"::") >> groups(5) >> m_last32Bits >> end) |
                 (upTo(1) >> L"::" >> groups(4) >> m_last32Bits >> end) |
                 (upTo(2) >> L"::" >> groups(3) >> m_last32Bits >> end) |
                 (upTo(3) >> L"::" >> groups(2) >> m_last32Bits >> end) |
                 (upTo(4) >> L"::" >> groups(1) >> m_last32Bits >> end) | (upTo(5) >> L"::" >> m_last32Bits >> end) |
                 (upTo(6) >> L"::" >> m_group >> end) | (upTo(7) >> L"::" >> end);
    }

    void DefineAuthority(CTKFUriParts& parts) {
        const auto hostIs = [&parts](TKFURI_HOSTNAME_TYPE type) { return CSet(parts.hostType, type); };

        m_userInfo = *(m_hostCharacter | L':' | m_escape) >> eps_p(ch_p(L'@'));
        const auto futureAddress =
            ch_p(L'[') >> (ch_p(L'v') | L'V') >> +m_hexDigit >> L'.' >> +(m_hostCharacter | L':') >> L']';
        m_name = futureAddress | +(m_hostCharacter | m_escape);
        m_host = (ch_p(L'[') >> m_ipv6[assign_a(parts.host)][hostIs(TKFURI_HOSTNAME_IPV6)] >> L']') |
                 (m_ipv4 >> eps_p(m_hostEnd | end_p))[assign_a(parts.host)][hostIs(TKFURI_HOSTNAME_IPV4)] |
                 m_name[assign_a(parts.host)][hostIs(TKFURI_HOSTNAME_REGISTERED_NAME)] | eps_p;
        m_port = ch_p(L':') >> !limit_d(0u, 65535u)[uint_p[assign_a(parts.port)]];
        m_authority =
            !(m_userInfo[assign_a(parts.userInfo)] >> L'@') >> m_host >> !m_port >> eps_p(m_authorityEnd | end_p);
    }

    void DefinePath(CTKFUriParts& parts) {
        const auto segment = (*(anychar_p - m_separator))[push_back_a(parts.segments)];
        m_pathText = (!m_separator >> segment >> *(m_separator >> segment))[assign_a(parts.path)];
        m_server = (~eps_p(ch_p(L'.') >> (m_separator | end_p)) >>
                    +m_serverCharacter)[assign_a(parts.host)][CSet(parts.hostType, TKFURI_HOSTNAME_UNC_SERVER)];
        const auto uncPath = m_server >> (end_p | (eps_p(m_separator) >> m_pathText));

        const auto onDrive = m_letter >> L':';
        const auto onVolume = as_lower_d[str_p(L"volume{")] >> +(m_hexDigit | L'-') >> L'}';
        m_verbatimPath = (as_lower_d[str_p(L"unc")] >> m_separator >> uncPath) |
                         (eps_p((onDrive | onVolume) >> m_separator) >> m_pathText);

        const auto isPlain = eps_p(onDrive) | ~eps_p((m_separator >> m_separator) |
                                                     (m_separator >> L"??" >> m_separator) | (m_scheme >> L':'));
        const CSet plain(parts.notation, Notation::Path);
        const CSet verbatim(parts.notation, Notation::VerbatimPath);
        m_path = ((m_separator >> m_separator >> L'?' >> m_separator)[verbatim] >> m_verbatimPath) |
                 ((m_separator >> m_separator)[plain] >> uncPath) | ((isPlain)[plain] >> m_pathText);
    }

    void DefineUri(CTKFUriParts& parts) {
        const auto tail = !(ch_p(L'?') >> (*(m_uriCharacter | L'?'))[assign_a(parts.query)]) >>
                          !(ch_p(L'#') >> (*(m_uriCharacter | L'?' | L'#'))[assign_a(parts.fragment)]);
        const auto segment = (*(m_uriCharacter - L'/'))[push_back_a(parts.segments)];
        m_uriPath = (!ch_p(L'/') >> segment >> *(ch_p(L'/') >> segment))[assign_a(parts.path)];
        const auto pathBehindAuthority = end_p | eps_p(m_pathEnd) | (eps_p(ch_p(L'/')) >> m_uriPath);

        const auto fileScheme = as_lower_d[str_p(L"file")] >> L':';
        m_uri = ~eps_p(fileScheme) >> m_scheme[assign_a(parts.scheme)] >> L':' >>
                ((str_p(L"//") >> m_authority >> pathBehindAuthority) | (~eps_p(str_p(L"//")) >> m_uriPath)) >> tail;

        // A file URL, in which '\' counts as '/'. Besides the proper forms, people and programs write file://C:/x, put
        // any number of slashes before a drive, and write a whole UNC path behind "file:" or "file://".
        const auto fileSegment = (*(m_uriCharacter - m_separator))[push_back_a(parts.segments)];
        m_filePath = (!m_separator >> fileSegment >> *(m_separator >> fileSegment))[assign_a(parts.path)];
        const auto twoSeparators = m_separator >> m_separator;
        const auto drive = m_letter >> (ch_p(L':') | L'|') >> (m_authorityEnd | end_p);
        const auto serverPath = m_server >> !(eps_p(m_separator) >> m_filePath);
        m_fileUrl = fileScheme >>
                    ((twoSeparators >> eps_p(drive) >> m_filePath) |
                     (twoSeparators >> twoSeparators >> *m_separator >> ((eps_p(drive) >> m_filePath) | serverPath)) |
                     (twoSeparators >> m_authority >> !(eps_p(m_separator) >> m_filePath)) |
                     (~eps_p(twoSeparators) >> m_filePath)) >>
                    tail;
    }

    const CIs m_letter{&base::IsAsciiLetter};
    const CIs m_digit{[](wchar_t character) noexcept { return character >= L'0' && character <= L'9'; }};
    const CIs m_hexDigit{[](wchar_t character) noexcept { return HexDigitValue(character) >= 0; }};
    const CIs m_separator{[](wchar_t character) noexcept { return IsOneOf(character, L"/\\"); }};
    const CIs m_hostCharacter{&IsHostCharacter};
    const CIs m_serverCharacter{&IsServerCharacter};
    const CIs m_uriCharacter{&IsUriCharacter};
    const CIs m_pathEnd{[](wchar_t character) noexcept { return IsOneOf(character, L"?#"); }};
    const CIs m_authorityEnd{[](wchar_t character) noexcept { return IsOneOf(character, L"/\\?#"); }};
    const CIs m_hostEnd{[](wchar_t character) noexcept { return IsOneOf(character, L":/\\?#"); }};
    Rule m_scheme, m_escape;
    Rule m_octet, m_ipv4, m_group, m_last32Bits, m_ipv6;
    Rule m_userInfo, m_name, m_host, m_port, m_authority;
    Rule m_pathText, m_server, m_verbatimPath, m_path;
    Rule m_uriPath, m_filePath, m_uri, m_fileUrl;
};

}  // namespace

std::optional<CTKFUriParts> CTKFUriGrammar::Parse(std::wstring_view text) {
    CTKFUriParts parts;
    const CRules rules(parts);
    const wchar_t* const end = text.data() + text.size();
    if (text.empty() || !parse(text.data(), end, rules.name).full)
        return std::nullopt;

    if (parts.scheme.empty())  // the rules of paths and file URLs leave it empty
        parts.scheme = L"file";
    for (wchar_t& character : parts.scheme)
        character = base::AsciiLower(character);
    if (parts.path.empty())
        parts.segments.clear();
    // In a file URL every host but localhost is a server of shares.
    if (parts.scheme == L"file" && parts.hostType != TKFURI_HOSTNAME_NONE &&
        !base::EqualsIgnoringAsciiCase(parts.host, L"localhost"))
        parts.hostType = TKFURI_HOSTNAME_UNC_SERVER;
    return parts;
}

bool CTKFUriGrammar::IsServer(std::wstring_view text) noexcept {
    return !text.empty() && text != L"." && std::all_of(text.begin(), text.end(), &IsServerCharacter);
}

}  // namespace framework
