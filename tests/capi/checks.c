/* SPDX-License-Identifier: Apache-2.0 */
#include "tests/capi/check.h"

#include "core/base/capi/ovra.h"

#include <stddef.h>
#include <string.h>

char const *check_values(void) {
  double const values[] = {1.5, -2.0, 3.25};
  ovra_array *array = ovra_doublearray__create(values, 3);
  CHECK(ovra_array__get_size(array) == 3 && ovra_array__get_capacity(array) == 32)
  CHECK(((double const *)ovra_array__get_data(array))[2] == 3.25)
  ovra_doublearray__set(array, 1, 2.0);
  ovra_doublearray__set(array, 3, 9.0);
  CHECK(ovra_doublearray__get(array, 1) == 2.0 && ovra_doublearray__get(array, 3) == 0.0)
  CHECK(ovra_doublearray__push_back(array, 4.0) == 0)
  CHECK(ovra_array__remove(array, 0, 0) == OUT_OF_BOUND && ovra_array__remove(array, 1, 2) == 0)
  CHECK(ovra_array__get_size(array) == 2 && ovra_doublearray__get(array, 1) == 4.0)
  ovra_array__set_size(array, 33);
  CHECK(ovra_array__get_size(array) == 33 && ovra_array__get_capacity(array) == 64)
  ovra_array__clear(array);
  CHECK(ovra_array__get_capacity(array) == 0 && ovra_array__get_data(array) == NULL)
  ovra_doublearray__delete(array);
  CHECK(ovra_doublearray__create(NULL, 1) == NULL)
  array = ovra_doublearray__create(NULL, 0);
  CHECK(array != NULL && ovra_array__get_size(array) == 0)
  ovra_doublearray__delete(array);
  CHECK(ovra_array__get_size(NULL) == 0 && ovra_array__get_capacity(NULL) == 0)
  CHECK(ovra_array__get_data(NULL) == NULL && ovra_doublearray__get(NULL, 0) == 0.0)
  ovra_array__set_size(NULL, 1);
  ovra_array__clear(NULL);
  ovra_doublearray__set(NULL, 0, 1.0);
  ovra_doublearray__delete(NULL);
  CHECK(ovra_array__remove(NULL, 0, 1) == REFUSED)
  CHECK(ovra_doublearray__push_back(NULL, 1.0) == REFUSED)

  unsigned long const beyond = ~0UL - 0xFFFFFFFFUL; /* its low 32 bits are those of success */
  CHECK(beyond == 0 || strcmp(ovra_result__get_name(beyond), "UNKNOWN_RESULT_CODE???") == 0)
  CHECK(strcmp(ovra_result__get_name(NOT_FOUND), "RESULT_NOT_FOUND") == 0)
  CHECK(strcmp(ovra_result__get_description(0), "Successful result.") == 0)

  char path[] = "C:\\dir/a\\file.txt", directory[] = "C:\\dir\\", plain[] = "dir/file.txt";
  CHECK(ovra_win32_basename(path) == path + 9 && path[8] == '\\')
  CHECK(ovra_win32_basename(directory) == directory + 7)
  CHECK(ovra_win32_basename(plain) == plain && ovra_win32_basename(NULL) == NULL)

  unsigned char const zeros[256] = {0};
  CHECK(sizeof sSiProData == sizeof zeros && memcmp(&sSiProData, zeros, sizeof zeros) == 0)
  CHECK((size_t)&sSiProData % 8 == 0 && pSiProData == NULL)

  double value = 0;
  CHECK(ovra_units__convert(OVRA_UNIT_TYPE_DISTANCE, "ft", 2.0, "cm", &value) == 0)
  CHECK(value == 60.96)
  CHECK(ovra_units__convert_to_default(2, "min", 2.0, &value) == 0 && value == 120.0)
  CHECK(ovra_units__set_default(0, "meters") == OVRA_RESULT_SUCCESS)
  CHECK(ovra_units__convert_from_default(0, "cm", 2.5, &value) == 0 && value == 250.0)
  char name[] = "stale text";
  CHECK(ovra_units__get_default(3, name, sizeof name) == REFUSED)
  CHECK(ovra_units__get_default(0, name, 6) == TOO_SMALL && strcmp(name, "stale text") == 0)
  CHECK(ovra_units__get_default(0, NULL, 7) == TOO_SMALL)
  CHECK(ovra_units__get_default(0, name, 7) == 0 && memcmp(name, "meters\0ext", 11) == 0)
  CHECK(ovra_units__get_default(2, name, 10) == 0 && memcmp(name, "sec\0\0\0\0\0\0\0", 11) == 0)
  CHECK(ovra_units__set_default(0, "cm") == 0 && ovra_units__set_default(0, NULL) == NOT_FOUND)
  CHECK(ovra_units__convert_to_default(0, NULL, 1.0, &value) == REFUSED)
  CHECK(ovra_units__convert_from_default(0, NULL, 1.0, &value) == REFUSED)
  CHECK(ovra_units__convert(0, NULL, 1.0, "cm", &value) == REFUSED)
  CHECK(ovra_units__convert(0, "cm", 1.0, NULL, &value) == REFUSED && value == 250.0)
  return NULL;
}

char const *check_log(char const *name) {
  ovra_log_category *const category = ovra_log__get_instance(name);
  ovra_log__set_priority(category, OVRA_PRIORITY_DEBUG);
  ovra_log__warn(name, "x=%d", "a.c", 12, 5);
  ovra_log__debug(name, "%s", NULL, -1, "100%d");
  CHECK(ovra_log__info(name, "i%c%s", '1', "%s") && ovra_log__io_prof(name, "io%d", 2))
  CHECK(ovra_log__warn_no_debug(name, "%05.1f %%", 2.5))
  char const *const no_format = NULL;
  CHECK(ovra_log__get_instance(NULL) == NULL)
  ovra_log__set_priority(NULL, 600);
  ovra_log__warn(NULL, "dropped", "a.c", 1);
  ovra_log__warn(name, no_format, "a.c", 1);
  CHECK(!ovra_log__info(NULL, "dropped") && !ovra_log__warn_no_debug(name, no_format))
  return NULL;
}
