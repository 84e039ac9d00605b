// The service and its clients as processes of their own, for the tests of what it does for them.
#pragma once

#include "tests/support/Await.h"
#include "tests/support/CProgram.h"
#include "tests/support/CTempFolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <memory>
#include <set>
#include <sstream>
#include <string>
#include <vector>

inline std::wstring ServiceProgram(bool otherBits = false) {
    return BuiltProgram(L"TKRuntimeLogger.exe", otherBits);
}

inline std::wstring ClientProgram(bool otherBits = false) {
    return BuiltProgram(L"log_client.exe", otherBits);
}

inline unsigned RunProgram(const std::wstring& path, const std::vector<std::wstring>& arguments) {
    return CProgram(path, arguments).Wait();
}

inline bool Has(const std::string& text, const std::string& part) {
    return text.find(part) != text.npos;
}

inline std::vector<std::string> LinesOf(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);)
        lines.push_back(line);
    return lines;
}

// The lines that have it.
inline std::ptrdiff_t CountOf(const std::string& text, const std::string& part) {
    std::ptrdiff_t count = 0;
    for (std::size_t at = text.find(part); at != text.npos; at = text.find(part, text.find('\n', at + 1)))
        ++count;
    return count;
}

inline std::string ContentsOf(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

// How many lines of the output are of this process.
inline std::ptrdiff_t LinesOfProcess(const std::string& text, const CProgram& program) {
    return CountOf(text, " " + std::to_string(program.Id()) + "/");
}

// The records of a recording, as lines, in their order.
inline std::string RecordsIn(const std::filesystem::path& folder) {
    std::set<std::filesystem::path> parts;
    for (const auto& file : std::filesystem::directory_iterator(folder)) {
        if (file.path().extension() == L".log")
            parts.insert(file.path());
    }
    std::string lines;
    for (const std::filesystem::path& part : parts)
        lines += ContentsOf(part);
    return lines;
}

inline std::ptrdiff_t RecordsOf(const std::string& lines, const CProgram& program) {
    return CountOf(lines, "PID: " + std::to_string(program.Id()) + ",");
}

// The number that follows these words; -1: they aren't there.
inline double NumberBehind(const std::string& words, const std::string& text) {
    const std::size_t at = text.find(words);
    return at == text.npos ? -1 : std::stod(text.substr(at + words.size()));
}

// A pipe whose reader doesn't read.
class CBlockedPipe final {
public:
    CBlockedPipe() {
        SECURITY_ATTRIBUTES inherit{sizeof inherit, nullptr, TRUE};
        EXPECT_TRUE(::CreatePipe(m_reader.Put(), m_writer.Put(), &inherit, 0));
        ::SetHandleInformation(m_reader.Get(), HANDLE_FLAG_INHERIT, 0);
    }
    [[nodiscard]] HANDLE Writer() const noexcept { return m_writer.Get(); }

private:
    base::CAutoHandle m_reader, m_writer;
};

// A service that is registered while the test runs.
struct ServiceTest : ::testing::Test {
    void SetUp() override { ASSERT_EQ(0u, RunProgram(ServiceProgram(), {L"--register"})); }
    void TearDown() override {
        service.reset();
        EXPECT_EQ(0u, RunProgram(ServiceProgram(), {L"--unregister"}));
    }

    void Start(std::vector<std::wstring> arguments = {}, bool otherBits = false, HANDLE out = nullptr,
               HANDLE in = nullptr) {
        service.reset();
        service = std::make_unique<CProgram>(ServiceProgram(otherBits), arguments, out, in);
        Await([&] { return Has(service->Err(), "TKRuntimeLogger runs.") || !service->Runs(); });
        EXPECT_TRUE(service->Runs()) << service->Err();
    }
    // The service's output after it has ended in order.
    std::string End() {
        EXPECT_EQ(0u, RunProgram(ServiceProgram(), {L"--stop"}));
        EXPECT_EQ(0u, service->Wait()) << service->Err();
        return service->Out();
    }

    std::unique_ptr<CProgram> service;
};

struct RecordingServiceTest : ServiceTest {
    ~RecordingServiceTest() override {
        service.reset();
        std::filesystem::remove_all(recording);
    }

    const CTempFolder folder;
    const std::wstring recording = folder.PathOf(L"recording");
};
