#include "diagnostics/CDiagnosticRegistration.h"

#include "tests/support/CSecondCall.h"

#include <algorithm>
#include <optional>
#include <vector>

using TKRuntimeLogger::CDiagnosticRegistration;

namespace {

TEST(DiagnosticRegistrationTest, ListsExactlyTheLiveObjectsTheNewestFirst) {
    int objects[3];
    std::optional<CDiagnosticRegistration> entries[3];
    for (std::size_t i = 0; i < 3; ++i)
        entries[i].emplace(L"TestModule", &objects[i], L"a filter");
    std::vector<const void*> expected{&objects[2], &objects[1], &objects[0]};
    const auto look = [&] {
        EXPECT_EQ(expected.size(), CDiagnosticRegistration::LiveCount());
        EXPECT_TRUE(std::ranges::equal(expected, CDiagnosticRegistration::Snapshot(), {}, {},
                                       &CDiagnosticRegistration::Entry::address));
    };
    look();
    EXPECT_FALSE(EndsBeside([] { static_cast<void>(CDiagnosticRegistration::Snapshot()); },
                            [] { const CDiagnosticRegistration another(nullptr, nullptr, nullptr); }));
    std::optional<CDiagnosticRegistration> another(std::in_place, nullptr, nullptr, nullptr);
    EXPECT_FALSE(EndsBeside([] { static_cast<void>(CDiagnosticRegistration::Snapshot()); }, [&] { another.reset(); }));
    EXPECT_FALSE(EndsBeside([] { static_cast<void>(CDiagnosticRegistration::Snapshot()); },
                            [] { static_cast<void>(CDiagnosticRegistration::LiveCount()); }));
    for (const std::size_t gone : {1u, 2u, 0u}) {  // from the middle, from the front, and the last
        entries[gone].reset();
        std::erase(expected, &objects[gone]);
        look();
    }
}

}  // namespace
