// What the tests of the metadata library share: lists as values, and the sample files.
#pragma once

#include "sdk/TvMetadata.h"
#include "tests/metadata/CBytesStream.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <vector>

using Types = std::vector<std::wstring>;

inline constexpr wchar_t kNothing[] = L"none";  // the answer for what is no media

struct ListDestroyer {
    void operator()(IMimeTypeList* list) const { list->Destroy(); }
};

// The texts of a list, which is then destroyed; nothing for a null list.
inline std::optional<Types> Take(IMimeTypeList* raw) {
    if (!raw)
        return std::nullopt;
    const std::unique_ptr<IMimeTypeList, ListDestroyer> list(raw);
    Types types;
    for (long i = 0; i < list->GetCount(); ++i)
        types.emplace_back(list->Item(i));
    return types;
}

// The first answer, kNothing for an empty list, or "failed" for none.
inline std::wstring FirstOf(IMimeTypeList* list) {
    const std::optional<Types> types = Take(list);
    return !types ? L"failed" : types->empty() ? kNothing : types->front();
}

struct Sample {
    std::filesystem::path path;
    std::wstring expected;  // the first answer that is due

    [[nodiscard]] std::string Content() const {
        std::ifstream file(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
};

// All files of a folder whose folders are named after the types, with '-' for '/'.
inline void AddSamples(std::vector<Sample>& samples, const std::filesystem::path& folder) {
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
        std::wstring type = entry.path().parent_path().filename().wstring();
        if (const size_t hyphen = type.find(L'-'); hyphen != std::wstring::npos)
            type[hyphen] = L'/';
        if (entry.is_regular_file())
            samples.push_back({entry.path(), type});
    }
}

// The samples of this repository.
inline const std::vector<Sample>& Samples() {
    static const std::vector<Sample> samples = [] {
        std::vector<Sample> all;
        AddSamples(all, TV_TEST_SAMPLES);
        const std::filesystem::path media(TV_TEST_MEDIA);
        all.push_back({media / "clip.avi", L"video/avi"});
        all.push_back({media / "clip.mkv", L"video/x-matroska"});
        all.push_back({media / "clip.mp4", L"video/mp4"});
        all.push_back({media / "tone.flac", kNothing});
        all.push_back({media / "tone.mp3", L"audio/mpeg"});
        all.push_back({media / "tone.wav", L"audio/wav"});
        return all;
    }();
    return samples;
}
