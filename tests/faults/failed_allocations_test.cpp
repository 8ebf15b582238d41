// Memory that runs out at each allocation of each call of tests/calls in turn. The program, run as a whole, ends with
// the number of allocations that failed in each function.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "calls/call.h"
#include "support/failing_alloc.h"

using namespace test;

namespace {

constexpr unsigned cells = 3; // along a side of each mesh
constexpr int no_memory = -199;

/// What is documented to allocate nothing.
const std::set<std::string> without_memory{"check_IDs",
                                           "convert_into_linear",
                                           "dense2D::sub, as_vector, clear",
                                           "dihedral_angles",
                                           "dspev",
                                           "flip",
                                           "flip_H8",
                                           "flip_TH4",
                                           "flip_W6",
                                           "node_detector::find_close",
                                           "node_detector::find_closest",
                                           "solid_angles",
                                           "version",
                                           "volume"};

std::vector<std::string> functions() {
    std::set<std::string> names;
    for (const call& c : all_calls())
        names.insert(c.function);
    return {names.begin(), names.end()};
}

/// Lets memory run out in one call.
class fault_injection {
public:
    fault_injection(const call& c, bool shared)
        : call_(c), shared_(shared), given_(c.make(cells)), before_(contents(with_own_outputs(c, given_))) {
        arguments a = with_own_outputs(call_, given_);
        success_ = call_.run(a);
        after_ = contents(a);
        EXPECT_GE(success_, 0);
        has_to_begin_anew_ = call_.swallows;
        for (const auto& [name, left] : call_.rules)
            has_to_begin_anew_ |= left == leaves::nothing_too || left == leaves::longer;
    }

    /// Lets the k-th allocation fail, or all from it on. Number of those that failed.
    std::size_t fail(std::size_t k, bool all_behind) {
        arguments a = with_own_outputs(call_, given_);
        const arguments other_views = shared_ ? a : arguments();
        int status = 0;
        (all_behind ? fail_allocations_from : fail_allocation)(k);
        try {
            status = call_.run(a);
        } catch (...) {
            stop_failing();
            ADD_FAILURE() << "an exception left";
        }
        const std::size_t failures = stop_failing();
        if (failures == 0) {
            EXPECT_EQ(status, success_);
            EXPECT_TRUE(contents(a) == after_);
        } else if (call_.swallows && status == success_) {
            expect_sound(a);
        } else {
            EXPECT_EQ(status, no_memory);
            expect_rules(a);
        }
        if (shared_)
            expect_unseen(other_views);
        if (failures != 0)
            use_again(a);
        return failures;
    }

private:
    void expect_rules(const arguments& a) const {
        const auto now = contents(a);
        for (std::size_t k = 0; k < now.size(); ++k)
            EXPECT_TRUE(obeys(call_.rule(now[k].which), now[k], before_[k], after_[k]))
                << "argument " << int(now[k].which);
    }

    /// Less was done than wanted: what is there names nodes that are there, and inputs are as they were.
    void expect_sound(const arguments& a) const {
        const auto now = contents(a);
        for (std::size_t k = 0; k < now.size(); ++k)
            if (call_.rule(now[k].which) == leaves::as_it_was) {
                EXPECT_TRUE(now[k] == before_[k]) << "argument " << int(now[k].which);
            }
        for (const auto* made : {&a.out, &a.sides, &a.cap})
            EXPECT_TRUE(quorl::meldra::check_IDs(*made, unsigned(a.pos.cols())));
    }

    /// What is not written in place stays as it was in other views.
    void expect_unseen(const arguments& other_views) const {
        const auto now = contents(other_views);
        for (std::size_t k = 0; k < now.size(); ++k)
            if (call_.rule(now[k].which) != leaves::some_done) {
                EXPECT_TRUE(now[k] == before_[k]) << "another view of argument " << int(now[k].which);
            }
    }

    /// The arguments serve for the same call, where need be after they were set anew.
    void use_again(arguments& a) const {
        if (has_to_begin_anew_) {
            call_.run(a);
            a = with_own_outputs(call_, given_);
        }
        EXPECT_EQ(call_.run(a), success_) << "the second time";
        EXPECT_TRUE(contents(a) == after_) << "the second time";
    }

    const call& call_;
    const bool shared_;
    const arguments given_;
    const std::vector<content> before_;
    std::vector<content> after_;
    int success_ = 0;
    bool has_to_begin_anew_ = false;
};

/// Lets each allocation of a call fail. Number of those that failed.
std::size_t fail_each_allocation(const call& c, bool shared, bool all_behind) {
    fault_injection injection(c, shared);
    std::size_t total = 0;
    for (std::size_t k = 1; k < 10000; ++k) {
        SCOPED_TRACE((all_behind ? "all from allocation " : "allocation ") + std::to_string(k));
        const std::size_t blocks_before = live_blocks();
        const std::size_t failures = injection.fail(k, all_behind);
        EXPECT_EQ(live_blocks(), blocks_before) << "a block is left over";
        if (failures == 0)
            return total;
        total += failures;
        if (testing::Test::HasFailure())
            return total; // one is enough to look at
    }
    ADD_FAILURE() << "never succeeds";
    return total;
}

std::map<std::string, std::size_t>& faults_of_functions() {
    static std::map<std::string, std::size_t> faults;
    return faults;
}

class report : public testing::Environment {
public:
    void TearDown() override {
        std::size_t total = 0;
        for (const auto& [name, faults] : faults_of_functions()) {
            std::printf("faults: %-40s %zu\n", name.c_str(), faults);
            total += faults;
        }
        if (faults_of_functions().size() > 1)
            std::printf("faults: %zu functions, %zu calls, %zu failed allocations\n", faults_of_functions().size(),
                        all_calls().size(), total);
    }
};

const auto* const reported = testing::AddGlobalTestEnvironment(new report);

class FailedAllocations : public testing::TestWithParam<std::string> {};

std::string test_name(const testing::TestParamInfo<std::string>& tested) {
    std::string name = tested.param;
    std::replace_if(
        name.begin(), name.end(), [](char c) { return !std::isalnum(static_cast<unsigned char>(c)); }, '_');
    return name;
}

/// Names of the functions in a list of symbols, with the number of overloads.
std::map<std::string, std::size_t> exported_functions() {
    std::map<std::string, std::size_t> names;
    std::ifstream symbols(EXPORTED_SYMBOLS);
    for (std::string line; std::getline(symbols, line);) {
        const std::size_t arguments = line.find('(');
        if (arguments == std::string::npos || line.find('~') != std::string::npos)
            continue;
        std::string name = line.substr(0, arguments);
        for (const std::string space : {"quorl::", "numcore::", "lapack::", "meldra::", "meldra2d::", "meldra3d::"})
            if (name.rfind(space, 0) == 0)
                name.erase(0, space.size());
        ++names[name];
    }
    return names;
}

} // namespace

TEST_P(FailedAllocations, LeaveWhatIsPromised) {
    std::size_t faults = 0;
    for (const call& c : all_calls())
        if (c.function == GetParam())
            for (const bool shared : {false, true})
                for (const bool all_behind : {false, true}) {
                    SCOPED_TRACE(c.name() + (shared ? ", shared storage" : ""));
                    faults += fail_each_allocation(c, shared, all_behind);
                }
    EXPECT_EQ(faults == 0, without_memory.count(GetParam()) != 0);
    RecordProperty("faults", std::to_string(faults));
    faults_of_functions()[GetParam()] = faults;
}

INSTANTIATE_TEST_SUITE_P(Of, FailedAllocations, testing::ValuesIn(functions()), test_name);

TEST(Calls, CoverAllOverloadsOfAllExports) {
    const auto exports = exported_functions();
    ASSERT_FALSE(exports.empty());
    std::map<std::string, std::set<std::string>> forms;
    for (const call& c : all_calls())
        forms[c.function].insert(c.form);
    for (const auto& [name, overloads] : exports)
        if (name != "__vector_num_free") { // has no status, and is called with every block
            EXPECT_EQ(forms[name].size(), overloads) << name;
        }
}
