// The main function of all test programs that link the library's objects: the JSON allocator must
// be set before the first JSON value is made.
#include <gtest/gtest.h>

#include "util/arena.h"

int main(int argc, char** argv) {
  Tav::UseArenasForJson();
  testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
