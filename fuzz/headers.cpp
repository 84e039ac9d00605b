// What the headers of an http answer say about a source. The input's first byte gives the status.
#include "dataservices/http/HttpAnswer.h"
#include "fuzz/Fuzz.h"

#include <algorithm>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0)
        return 0;
    const dataservices::http::CHttpHeaders headers(WideOf({data + 1, size - 1}));
    const auto answer = dataservices::http::ReadHttpAnswer(200u + data[0], headers);
    constexpr std::uint64_t kMost = 0x7FFFFFFFFFFFFFFE;
    Require(answer.bodyLength.value_or(0) <= kMost && answer.total.value_or(0) <= kMost &&
            answer.rangeEnd <= kMost + 1);
    if (answer.rangeStart)
        Require(*answer.rangeStart < answer.rangeEnd && answer.rangeEnd <= answer.total.value_or(answer.rangeEnd));
    else
        Require(answer.HasInvalidRange() && answer.rangeEnd == 0);
    Require(answer.IsSameVersionAs(answer));
    // The validator becomes part of a request's header.
    const std::wstring validator = answer.StrongValidator();
    Require(std::all_of(validator.begin(), validator.end(), [](wchar_t unit) { return unit >= L' ' && unit < 0x7F; }));
    return 0;
}
