#include "metadata/FormatRules.h"

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

}  // namespace metadata
