/* SPDX-License-Identifier: Apache-2.0 */
#pragma once

/* What a program in C sees. Each function gives the first condition that does not hold, or null. */
char const *check_values(void);
char const *check_log(char const *name);
char const *check_settings(void);

#define CHECK(condition)                                                                           \
  if (!(condition)) {                                                                              \
    return #condition;                                                                             \
  }

enum { FAILURE = 1, REFUSED = 4, NOT_FOUND = 10, OUT_OF_BOUND = 13, TOO_SMALL = 16 };
