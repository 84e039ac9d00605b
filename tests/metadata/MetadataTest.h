// What the tests of the MIME dictionary share: lists as values, content put together from pieces, and the sample
// files.
#pragma once

#include "metadata/CMimeTypeDictionary.h"
#include "tests/support/CScriptedStream.h"
#include "tests/support/MediaFiles.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>
#include <vector>

using namespace metadata;

using Types = std::vector<std::wstring>;

inline constexpr wchar_t kNothing[] = L"none";  // the answer for what is no media

// The texts of a list, which is then destroyed; empty for a null list.
inline std::optional<Types> Take(IMimeTypeList* list) {
    if (!list)
        return std::nullopt;
    Types types;
    for (long i = 0; i < list->GetCount(); ++i)
        types.emplace_back(list->Item(i));
    list->Destroy();
    return types;
}

// The first answer, kNothing for an empty list, or "failed" for none.
inline std::wstring FirstOf(IMimeTypeList* list) {
    const std::optional<Types> types = Take(list);
    return !types ? L"failed" : types->empty() ? kNothing : types->front();
}

// Where a stream stands.
inline ULONGLONG PositionOf(IStream& source) {
    ULARGE_INTEGER position{.QuadPart = 99};
    source.Seek({}, STREAM_SEEK_CUR, &position);
    return position.QuadPart;
}

// What the dictionary says first of a source's content.
inline std::wstring Detected(std::string_view content) {
    CScriptedStream source(content);
    return FirstOf(MimeTypeDictionary()->Detect(&source));
}

// All answers for each of the contents, with blanks between them.
template <class... Contents>
void Expect(const std::wstring& expected, const Contents&... contents) {
    int index = 0;
    for (const std::string& content : {std::string(contents)...}) {
        CScriptedStream source(content);
        std::wstring answers;
        for (const std::wstring& type : Take(MimeTypeDictionary()->Detect(&source)).value_or(Types{L"failed"}))
            answers += (answers.empty() ? L"" : L" ") + type;
        EXPECT_EQ(expected, answers.empty() ? kNothing : answers) << "content " << index;
        ++index;
    }
}

inline std::string Big(unsigned long long value, int bytes) {
    std::string text;
    while (bytes-- > 0)
        text += static_cast<char>(value >> 8 * bytes);
    return text;
}
inline std::string Little(unsigned long long value, int bytes) {
    const std::string text = Big(value, bytes);
    return {text.rbegin(), text.rend()};
}
inline std::string Repeat(int times, const std::string& text) {
    std::string all;
    for (; times > 0; --times)
        all += text;
    return all;
}

// An ID3v2 tag of `size` times 16 KiB.
inline std::string Id3(char size) {
    return std::string("ID3\3\0\0\0", 7) + size + std::string(2 + static_cast<size_t>(size) * 16384, '\0');
}

struct Sample {
    std::filesystem::path path;
    std::wstring expected = {};  // the first answer that is due

    [[nodiscard]] std::string Content() const {
        std::ifstream file(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
};

inline const std::filesystem::path kSamples(TV_TEST_SAMPLES), kMedia(TV_TEST_MEDIA);

// The samples of this repository, whose folders are named after the types, with '-' for '/'.
inline const std::vector<Sample>& Samples() {
    static const std::vector<Sample> samples = [] {
        std::vector<Sample> all{{kMedia / "clip.avi", L"video/avi"},
                                {kMedia / "clip.mkv", L"video/x-matroska"},
                                {kMedia / "clip.mp4", L"video/mp4"},
                                {kMedia / kFormatWithoutAType, kNothing},
                                {kMedia / "tone.mp3", L"audio/mpeg"}};
        for (const auto& entry : std::filesystem::recursive_directory_iterator(kSamples)) {
            std::wstring type = entry.path().parent_path().filename().wstring();
            if (const size_t hyphen = type.find(L'-'); hyphen != std::wstring::npos)
                type[hyphen] = L'/';
            if (entry.is_regular_file())
                all.push_back({entry.path(), type});
        }
        return all;
    }();
    return samples;
}
