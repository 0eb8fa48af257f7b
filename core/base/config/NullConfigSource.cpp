// SPDX-License-Identifier: Apache-2.0
#include "core/base/config/NullConfigSource.hpp"

#include "core/base/foundation/ResultCode.hpp"

namespace Ostrel {

unsigned long NullConfigSource::init_source(void const *) {
  return RESULT_FAILURE;
}

unsigned long NullConfigSource::init_source(ConfigRoot, void const *) {
  return RESULT_FAILURE;
}

void const *NullConfigSource::open_repository(char const *) {
  return nullptr;
}

void NullConfigSource::close_repository(char const *) {}

IConfigSource::ConfigRoot NullConfigSource::get_config_root() {
  return CONFIG_ROOT_NONE;
}

void const *NullConfigSource::find_first(void const *, std::string *) const {
  return nullptr;
}

void const *NullConfigSource::find_next(void const *, std::string *) const {
  return nullptr;
}

void const *NullConfigSource::find_first_value(void const *, std::string *, std::string *) const {
  return nullptr;
}

void const *NullConfigSource::find_next_value(void const *, std::string *, std::string *) const {
  return nullptr;
}

void const *NullConfigSource::find_indexed_sub_key(void const *, char const *, int) const {
  return nullptr;
}

bool NullConfigSource::get_key_name(void const *, std::string *) const {
  return false;
}

bool NullConfigSource::get_value_data(void const *, std::string *, std::string *) const {
  return false;
}

void const *NullConfigSource::create_key(void const *, char const *, bool) {
  return nullptr;
}

unsigned long NullConfigSource::set_value(void const *, char const *, char const *, bool) {
  return RESULT_FAILURE;
}

unsigned long NullConfigSource::delete_key(void const *) {
  return RESULT_FAILURE;
}

unsigned long NullConfigSource::delete_value(void const *) {
  return RESULT_FAILURE;
}

unsigned long NullConfigSource::commit() {
  return RESULT_FAILURE;
}

} // namespace Ostrel
