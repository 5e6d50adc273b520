// The number of allocations through operator new in this test program so
// far, so that a test can require a stretch of code to allocate nothing.
// AllocationCount.cpp replaces the global operator new to count them.
#pragma once

namespace distest {

long AllocationCount();

}  // namespace distest
