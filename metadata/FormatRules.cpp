#include "metadata/FormatRules.h"

#include <algorithm>

namespace metadata {

namespace {

constexpr FormatRule kRules[] = {
#define TV_FORMAT_RULE(function, name) {name, &function},
#include "metadata/FormatRules.inc"
#undef TV_FORMAT_RULE
};

}  // namespace

std::span<const FormatRule> FormatRules() noexcept {
    return kRules;
}

std::span<const FormatRule> SignatureRules() noexcept {
    const std::span<const FormatRule> all(kRules);
    const auto last = std::ranges::find(all, &JudgeAtrac3, &FormatRule::judge);
    return all.first(static_cast<size_t>(last - all.begin()) + 1);
}

}  // namespace metadata
