// The service and its clients as processes of their own, for the tests of what it does for them.
#pragma once

#include "tests/support/Await.h"
#include "tests/support/CProgram.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <memory>
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
    for (std::size_t at = text.find(part); at != text.npos; at = text.find(part, text.find('\n', at)))
        ++count;
    return count;
}

inline std::string ContentsOf(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

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
