#pragma once

#include <gtest/gtest.h>
#include <rapidcheck.h>

namespace test {

/// Checks a property on random cases inside a test. `rc::check` alone prints a counterexample and lets the test pass.
template <class Property>
void expect_property(const Property& property) {
    EXPECT_TRUE(rc::check(property)) << "the counterexample is printed above";
}

} // namespace test
