// SPDX-License-Identifier: Apache-2.0
// What other people's headers leave behind before ours are read.
#define DISABLED do
#define FATAL (
#define ERROR 0
#define WARN "warn"
#define INFO ;
#define TRACE
#define DEBUG
#define VERBOSE 1
#define NOT_SET nullptr

#include "core/base/logging/FileLoggingOutput.hpp"
#include "core/base/logging/LoggingCategory.hpp"
#include "core/base/logging/LoggingCategoryPostfixed.hpp"
#include "core/base/logging/LoggingCategoryPrefixed.hpp"
#include "core/base/logging/LoggingEvent.hpp"
#include "core/base/logging/LoggingHierarchy.hpp"
#include "core/base/logging/LoggingLayoutImpl.hpp"

#include <gtest/gtest.h>

TEST(LoggingPriority, ForeignMacrosAreLeftInPeace) {
  EXPECT_EQ(Ostrel::LoggingPriority::LEVEL_ERROR, 200);
  EXPECT_EQ(ERROR, 0);
  EXPECT_STREQ(WARN, "warn");
}
