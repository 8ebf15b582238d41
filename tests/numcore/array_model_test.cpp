#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include "array_model.h"

using namespace test;

namespace {

void every_step_agrees_with_the_model(bool failures) {
    const auto steps = *model::steps(failures);
    const std::size_t blocks_before = live_blocks();
    {
        model::world arrays;
        for (const model::step& step : steps)
            arrays.run(step);
    }
    const bool all_given_back = live_blocks() == blocks_before;
    RC_ASSERT(all_given_back);
}

} // namespace

RC_GTEST_PROP(ArraysAgreeWithAModel, WhateverIsDoneToViewsThatShareStorage, ()) {
    every_step_agrees_with_the_model(false);
}

RC_GTEST_PROP(ArraysAgreeWithAModel, AndAnOperationWithoutMemoryChangesNothing, ()) {
    every_step_agrees_with_the_model(true);
}
