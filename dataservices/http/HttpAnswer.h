// What the headers of an answer say about a source.
//
// Units: bytes.  Threads: any for reading.  Errors: std::bad_alloc.
#pragma once

#include "dataservices/http/CHttpHeaders.h"

#include <cstdint>
#include <optional>
#include <string>

namespace dataservices::http {

struct HttpAnswer {
    unsigned status = 0;
    // The length of this body. No value: the server doesn't tell it, or the body comes in chunks.
    std::optional<std::uint64_t> bodyLength;
    bool hasInvalidLength = false;  // the server tells it, but it can't be understood
    // The header "Content-Range": the first byte of the body and the one behind its last byte, both or neither, and the
    // length of the whole.
    std::optional<std::uint64_t> rangeStart;
    std::uint64_t rangeEnd = 0;
    std::optional<std::uint64_t> total;
    bool acceptsRanges = false;  // the server says so
    bool isStation = false;      // it says what stations say, whose content has no end
    // For how long the server asks to be left alone: in seconds, or else until a time.
    std::optional<std::uint64_t> retryAfterSeconds;
    std::wstring retryAfter;
    std::wstring entityTag;
    std::wstring lastModified;

    // False: both answers name a version of the source, and the versions differ.
    [[nodiscard]] bool IsSameVersionAs(const HttpAnswer& other) const noexcept;
    // The value by which a request can be bound to this version. Empty if no validator both identifies the version and
    // survives being sent back unchanged.
    [[nodiscard]] std::wstring StrongValidator() const;
    // The 206 is malformed: it has no range that can be understood, or the body is not as long as the range.
    [[nodiscard]] bool HasInvalidRange() const noexcept;
};

[[nodiscard]] HttpAnswer ReadHttpAnswer(unsigned status, const CHttpHeaders& headers);

}  // namespace dataservices::http
