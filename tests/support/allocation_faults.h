#pragma once

#include <cstddef>

// Linking this replaces global operator new and delete in the whole executable. What takes memory
// from malloc is failed only where malloc_faults.cpp is linked, too. Over-aligned allocations are
// left alone.

namespace zel_test {

/// Lets the n-th allocation from now on (1 is the next one) of the calling thread fail, that one
/// only.
void fail_allocation(std::size_t nth);
/// True for the one that is to fail; for replacements of allocating functions.
bool allocation_fails();
/// From now on those of cJSON, too; malloc_faults.cpp has it.
void fail_allocations_of_cjson();
/// Ends a pending failure. True if it has struck.
bool stop_failing_allocations();

/// Allocations that the calling thread has made so far.
std::size_t thread_allocations();

}  // namespace zel_test
