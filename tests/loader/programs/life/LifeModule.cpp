#include "LifeModule.h"

#include <gtest/gtest.h>

#include "LifeWorld.h"

int orviaLifeMain(int count, char** arguments, void* library) {
  testing::InitGoogleTest(&count, arguments);
  LifeTests::libraryIs(library);
  return RUN_ALL_TESTS();
}
