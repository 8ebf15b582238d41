// Sizes that ask for more than this must end in a status, not in a report.
extern "C" const char* __asan_default_options();

extern "C" const char* __asan_default_options() {
    return "allocator_may_return_null=1:max_allocation_size_mb=64:detect_stack_use_after_return=1";
}
