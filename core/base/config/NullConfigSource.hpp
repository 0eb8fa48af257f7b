// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "core/base/config/IConfigSource.hpp"

namespace Ostrel {

/// An empty source: every operation fails or finds nothing. Stateless; any thread may use it at any
/// time.
class OSTBASE_API NullConfigSource : public IConfigSource {
public:
  unsigned long init_source(void const *description) override;
  unsigned long init_source(ConfigRoot root, void const *argument) override;
  void const *open_repository(char const *name) override;
  void close_repository(char const *name) override;
  ConfigRoot get_config_root() override;
  void const *find_first(void const *key, std::string *name) const override;
  void const *find_next(void const *key, std::string *name) const override;
  void const *find_first_value(void const *key, std::string *name,
                               std::string *text) const override;
  void const *find_next_value(void const *value, std::string *name,
                              std::string *text) const override;
  void const *find_indexed_sub_key(void const *key, char const *name, int index) const override;
  bool get_key_name(void const *key, std::string *name) const override;
  bool get_value_data(void const *value, std::string *name, std::string *text) const override;
  void const *create_key(void const *parent, char const *name, bool commit) override;
  unsigned long set_value(void const *key, char const *name, char const *text,
                          bool commit) override;
  unsigned long delete_key(void const *key) override;
  unsigned long delete_value(void const *value) override;
  unsigned long commit() override;
};

} // namespace Ostrel
