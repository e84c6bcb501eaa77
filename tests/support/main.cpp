// The main function of every test program that links the library's own objects: its JSON allocator
// must be in place before the first JSON value is made, also when a test makes it.
#include <gtest/gtest.h>

#include "util/arena.h"

int main(int argc, char** argv) {
  Tav::UseArenasForJson();
  testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
