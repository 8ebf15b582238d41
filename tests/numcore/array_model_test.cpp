#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include "array_model.h"

using namespace test;

namespace {

void every_step_agrees_with_the_model(bool failures) {
    const std::size_t blocks_before = live_blocks();
    const auto steps = *model::steps(failures);
    {
        model::world arrays;
        for (const model::step& step : steps)
            arrays.run(step);
    }
    RC_ASSERT(live_blocks() == blocks_before);
}

} // namespace

RC_GTEST_PROP(ArraysAgreeWithAModel, WhateverIsDoneToViewsThatShareStorage, ()) {
    every_step_agrees_with_the_model(false);
}

RC_GTEST_PROP(ArraysAgreeWithAModel, AndAnOperationWithoutMemoryChangesNothing, ()) {
    every_step_agrees_with_the_model(true);
}
