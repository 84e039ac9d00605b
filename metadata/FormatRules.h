// The rules by which a format is recognised in content, in the order in which they are asked.
//
// A rule is one file in formats/, which says how its format is recognised, and one line in FormatRules.inc. A format
// that is new to the product takes a few steps more: docs/media-types.md has the list.
//
// Threads: any; the table is constant.
#pragma once

#include "metadata/CContent.h"
#include "metadata/Verdict.h"

#include <span>

namespace metadata {

struct FormatRule {
    const wchar_t* name;  // for people
    // Judges the content from its start on. Throws what CContent throws.
    Verdict (*judge)(CContent& content);
};

[[nodiscard]] std::span<const FormatRule> FormatRules() noexcept;
// The first ones of these, whose signatures at the start nothing else can be mistaken for.
[[nodiscard]] std::span<const FormatRule> SignatureRules() noexcept;

// Every rule's function, by the name that FormatRules.inc gives it.
#define TV_FORMAT_RULE(function, name) [[nodiscard]] Verdict function(CContent& content);
#include "metadata/FormatRules.inc"
#undef TV_FORMAT_RULE

}  // namespace metadata
