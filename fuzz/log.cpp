// A record's line in the log file: category, file, function and message, each ended by a zero.
#include "diagnostics/LogLine.h"
#include "fuzz/Fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::wstring left = WideOf({data, size});
    const auto next = [&] {
        std::wstring text = left.c_str();
        left.erase(0, text.size() + 1);
        return text;
    };
    const std::wstring category = next(), file = next(), function = next();
    const int number = static_cast<int>(size) - 5;
    const std::string line = TKRuntimeLogger::LogLine(number, category.c_str(), -number, number, file.c_str(), number,
                                                      function.c_str(), left.c_str());
    Require(line.find_first_of("\r\n") == line.size() - 2 && line.ends_with("\r\n"));
    Require(base::Utf8OfWide(base::WideOfUtf8(line)) == line);
    return 0;
}
