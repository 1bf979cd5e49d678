// Table checks for results that share one expectation: each result against the
// expected value, a mismatch named by its position in the list.
#ifndef ORV_TESTS_CHECK_TABLE_H
#define ORV_TESTS_CHECK_TABLE_H

#include <gtest/gtest.h>

#include <cstddef>
#include <initializer_list>

namespace checktable {

inline void expectAll(long long expected, std::initializer_list<long long> results) {
    size_t i = 0;
    for (long long r : results) EXPECT_EQ(expected, r) << "result " << i++;
}

inline void expectNull(std::initializer_list<const void*> results) {
    size_t i = 0;
    for (const void* r : results) EXPECT_EQ(nullptr, r) << "result " << i++;
}

}  // namespace checktable

#endif
