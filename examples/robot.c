/* SPDX-License-Identifier: Apache-2.0 */

/* The library from C: computes how far a robot may drive, from distances and a user setting. */

#include "core/base/capi/ovra.h"

#include <stdio.h>
#include <stdlib.h>

static char const CATEGORY[] = "Robot.Drive";
static char const MARGIN[] = "UserConfig/Drive/MarginFeet";

/* Returns the distance to keep free in front of the robot, in meters, from the user's settings. */
static double read_margin(void) {
  double meters = 0.5; /* kept if the user has no setting */
  char text[32];
  unsigned long const result = ovra_user_config__get_value(MARGIN, text, sizeof text);
  if (result != OVRA_RESULT_SUCCESS) {
    ovra_log__warn(CATEGORY, "%s: %s", "robot.c", __LINE__, MARGIN,
                   ovra_result__get_description(result));
    return meters;
  }
  char *end = text;
  double const feet = strtod(text, &end);
  if (end == text || *end != '\0') {
    ovra_log__warn(CATEGORY, "%s is '%s', which is no number", "robot.c", __LINE__, MARGIN, text);
    return meters;
  }
  if (ovra_units__convert(OVRA_UNIT_TYPE_DISTANCE, "feet", feet, "meters", &meters) !=
      OVRA_RESULT_SUCCESS) {
    return meters;
  }
  ovra_log__info(CATEGORY, "keeping %s feet away, which are %.3f m", text, meters);
  return meters;
}

static double smallest(ovra_array const *distances) {
  double result = ovra_doublearray__get(distances, 0);
  for (unsigned int i = 1; i < ovra_array__get_size(distances); ++i) {
    double const distance = ovra_doublearray__get(distances, i);
    result = distance < result ? distance : result;
  }
  return result;
}

static void print_way(double meters, char const *units) {
  double way = 0;
  unsigned long const result =
      ovra_units__convert(OVRA_UNIT_TYPE_DISTANCE, "m", meters, units, &way);
  if (result == OVRA_RESULT_SUCCESS) {
    printf("drive %.2f %s\n", way, units);
  } else {
    printf("no way in %s: %s\n", units, ovra_result__get_name(result));
  }
}

int main(void) {
  /* Line-buffered, so that the library's messages appear in order. */
  setvbuf(stdout, NULL, _IOLBF, BUFSIZ);

  double const measured[] = {3.25, 1.75, 2.5}; /* in meters */
  ovra_array *const distances = ovra_doublearray__create(measured, 3);
  if (ovra_doublearray__push_back(distances, 4.0) != OVRA_RESULT_SUCCESS) {
    ovra_doublearray__delete(distances);
    return EXIT_FAILURE;
  }
  double const way = smallest(distances);
  printf("%u distances, the smallest is %.2f m\n", ovra_array__get_size(distances), way);
  ovra_doublearray__delete(distances);

  print_way(way - read_margin(), "inches");
  if (ovra_user_config__set_value(MARGIN, "2.5", /* commit = */ 0) == OVRA_RESULT_SUCCESS) {
    print_way(way - read_margin(), "inches");
  }
  print_way(way, "parsecs");
  return EXIT_SUCCESS;
}
