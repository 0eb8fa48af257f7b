// SPDX-License-Identifier: Apache-2.0
// Configuration and sources: by path, during edits and reloads; by handles whose keys are not
// deleted; and the user settings, from C++ and from C.
#include "core/base/capi/ovra.h"
#include "core/base/config/Configuration.hpp"
#include "core/base/config/Setting.hpp"
#include "core/base/config/UserConfig.hpp"
#include "core/base/config/XmlConfigSource.hpp"
#include "core/base/foundation/ResultCode.hpp"
#include "core/base/units/Units.hpp"
#include "tests/support/Files.hpp"
#include "torture/threads/Stage.hpp"

#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

using namespace Ostrel;

namespace {

constexpr char FILE_TEXT[] = R"(<Resources>
  <K v="1" w="2">text</K><K v="3"/><L s="1 2:4"><M v="5"/></L><Stays v="kept" w="1">text</Stays>
</Resources>
)";
constexpr char const *PATHS[] = {"Resources/K", "Resources/K:1", "Resources/L/M", "Resources/New"};
constexpr char const *NAMES[] = {"v", "w", "s"};

// A source over its own file, with two facades.
class Loaded {
public:
  explicit Loaded(Torture &all) : torture(all), first(source), second(source) {
    write_file(file, FILE_TEXT);
    write_file(directory.path("devices/camera.xml"), "<Camera v='1'/>");
    require(source.set_search_path(directory.path().c_str()) == RESULT_SUCCESS &&
                first.init_source(file.c_str()) == RESULT_SUCCESS,
            "a file cannot be loaded");
  }

  void require(bool holds, char const *what) {
    if (!holds) {
      torture.fault("%s", what);
    }
  }

  Configuration &facade(Context const &context) { return context.thread % 2 == 0 ? first : second; }

  Torture &torture;
  TemporaryDirectory directory;
  std::string const file = directory.path("resource-config.xml");
  XmlConfigSource source;
  Configuration first, second;
};

template <class Number> void read_number(Loaded &one, Context const &context) {
  Number number = 0;
  one.facade(context).get_value(context.pick(PATHS), context.pick(NAMES), &number);
}

void read_by_path(Loaded &one, Context const &context) {
  std::string text;
  one.facade(context).get_value(context.pick(PATHS), context.pick(NAMES), &text);
  one.facade(context).get_value("Resources/K", nullptr, &text);
}

void read_series_by_path(Loaded &one, Context const &context) {
  long numbers[8];
  unsigned int count = 8;
  one.facade(context).get_series("Resources/L", "s", numbers, &count);
}

void create_by_path(Loaded &one, Context const &context) {
  one.facade(context).create_key(
      context.pick({"Resources/New/A", "Resources/New/B", "Resources/K:2"}));
}

void replace_document(Loaded &one) {
  one.source.create_source(XmlConfigSource::CREATE_GIVEN_PATH, one.file.c_str(), "Resources");
}

// Creates and destroys another source with a facade.
void load_another(Loaded &one) {
  XmlConfigSource source;
  Configuration const other(source);
  Configuration copy(other);
  copy.init_source(one.file.c_str());
  copy = one.first;
  copy.find_key("Resources/K");
}

void use_repository(Loaded &one, Context const &context) {
  if (context.random % 2 == 0) {
    one.facade(context).find_repository_key("devices.camera", nullptr);
  } else {
    one.source.close_repository("devices.camera");
  }
}

// Every change is saved, so that other sources can load the file at any time.
void check_loadable(Loaded &one) {
  one.require(one.first.commit() == RESULT_SUCCESS, "a document cannot be saved");
  XmlConfigSource reader;
  one.require(reader.init_source(one.file.c_str()) == RESULT_SUCCESS,
              "a saved file cannot be loaded");
}

} // namespace

Stage configuration_by_path(Torture &torture) {
  auto const one = std::make_shared<Loaded>(torture);
  auto const facade = [one](Context const &context) -> Configuration & {
    return one->facade(context);
  };
  return {
      {[one](Context const &context) { read_by_path(*one, context); },
       [one](Context const &context) { read_number<double>(*one, context); },
       [one](Context const &context) { read_number<long>(*one, context); },
       [one](Context const &context) { read_number<unsigned long>(*one, context); },
       [one](Context const &context) { read_series_by_path(*one, context); },
       [facade](Context const &context) { facade(context).find_key(context.pick(PATHS)); },
       [facade](Context const &context) {
         facade(context).find_key_with_value("Resources/K", "v", "3");
       },
       [facade](Context const &context) {
         facade(context).set_value(context.pick(PATHS), context.pick(NAMES), "new", false);
       },
       [facade](Context const &context) {
         facade(context).set_value("Resources/K", nullptr, "t", false);
       },
       [facade](Context const &context) {
         facade(context).set_value("Resources/K", "v", 1.5, false);
       },
       [facade](Context const &context) {
         facade(context).set_value("Resources/K", "v", 2L, false);
       },
       [facade](Context const &context) {
         facade(context).set_value("Resources/K", "v", 3UL, true);
       },
       [one](Context const &context) { create_by_path(*one, context); },
       [facade](Context const &context) { facade(context).delete_key(context.pick(PATHS)); },
       [facade](Context const &context) { facade(context).delete_value(context.pick(PATHS), "w"); },
       [one](Context const &context) { one->facade(context).init_source(one->file.c_str()); },
       [one](Context const &context) {
         one->facade(context).init_source(IConfigSource::CONFIG_ROOT_RESOURCES,
                                          one->directory.path().c_str());
       },
       [one](Context const &) { one->source.init_source(one->file.c_str()); },
       [one](Context const &) { replace_document(*one); },
       [one](Context const &) { write_file(one->file, FILE_TEXT); },
       [facade](Context const &context) { facade(context).commit(); },
       [one](Context const &context) {
         one->facade(context).get_config_root();
         one->source.get_config_root();
       },
       [one](Context const &) { load_another(*one); },
       [one](Context const &context) { use_repository(*one, context); }},
      [one] { check_loadable(*one); }};
}

namespace {

struct OpenConfiguration : Configuration {
  using Configuration::Configuration;
  using Configuration::find_indexed_key_with_value;
  using Configuration::find_sub_key;
  using Configuration::find_value;
  using Configuration::parse_long_series;
};

// Handles of keys that no operation deletes: the top, one with values and one with sub-keys.
class Handles : public Loaded {
public:
  explicit Handles(Torture &all)
      : Loaded(all), open(source), top(first.find_key("Resources")),
        list(first.find_key("Resources/L")), values(first.find_key("Resources/K")),
        kept(first.find_key("Resources/Stays")) {}

  OpenConfiguration open;
  void const *top, *list, *values, *kept;
};

void read_by_handle(Handles &one, Context const &context) {
  std::string text;
  one.require(one.facade(context).get_value(one.top, "Stays", "v", &text) == RESULT_SUCCESS &&
                  text == "kept",
              "a value that stays cannot be read");
  double real = 0;
  unsigned long number = 0;
  one.facade(context).get_value(one.values, nullptr, context.pick(NAMES), &real);
  one.facade(context).get_value(one.values, nullptr, context.pick(NAMES), &number);
}

// Only of the key whose values are not deleted: the handle of a deleted value is invalid.
void walk_values(Handles &one) {
  std::string name, text, all;
  for (void const *value = one.source.find_first_value(one.kept, &name, &text); value != nullptr;
       value = one.source.find_next_value(value, &name, &text)) {
    all += name + "=" + text + ";";
  }
  one.require(all == "=text;v=kept;w=1;", "the values of a key are not walked whole");
}

void walk_keys(Handles &one) {
  std::string name;
  one.require(one.source.find_first(nullptr, &name) == one.top &&
                  one.source.find_first(one.top, &name) == one.values &&
                  one.source.find_next(one.list, &name) == one.kept,
              "a key that stays is not found");
}

// A key that only this thread creates, reads and deletes.
void use_own_key(Handles &one, Context const &context) {
  std::string const own = "T" + std::to_string(context.thread);
  Configuration &facade = one.facade(context);
  std::string text;
  long number = 0;
  void const *const key = facade.create_sub_key(one.list, own.c_str(), false);
  bool const is_made = facade.set_value(key, nullptr, "v", 7L, false) == RESULT_SUCCESS &&
                       facade.get_value(one.list, own.c_str(), "v", &number) == RESULT_SUCCESS &&
                       number == 7;
  void const *const value = one.open.find_value(key, nullptr, "v", &text);
  one.require(is_made && text == "7", "a key of the thread's own does not have what was stored");
  one.require(one.source.delete_value(value) == RESULT_SUCCESS &&
                  facade.get_value(key, nullptr, "v", &text) == RESULT_NOT_FOUND &&
                  (context.random % 2 == 0 ? facade.delete_key(key) : one.source.delete_key(key)) ==
                      RESULT_SUCCESS &&
                  facade.find_key(one.list, own.c_str()) == nullptr,
              "a key of the thread's own is not deleted");
}

} // namespace

Stage configuration_by_handle(Torture &torture) {
  auto const one = std::make_shared<Handles>(torture);
  auto const facade = [one](Context const &context) -> Configuration & {
    return one->facade(context);
  };
  return {
      {[one](Context const &context) { read_by_handle(*one, context); },
       [one](Context const &) { walk_values(*one); },
       [one](Context const &) { walk_keys(*one); },
       [one, facade](Context const &context) {
         facade(context).set_value(one->values, nullptr, context.pick(NAMES), "new", false);
       },
       [one, facade](Context const &context) {
         facade(context).set_value(one->top, "K", nullptr, "text", false);
       },
       [one, facade](Context const &context) {
         facade(context).set_value(one->top, "K", context.pick(NAMES), 2.5, false);
       },
       [one, facade](Context const &context) {
         facade(context).set_value(one->values, nullptr, "w", 2L, true);
       },
       [one, facade](Context const &context) {
         facade(context).set_value(one->list, "M", "v", 2UL, false);
       },
       [one, facade](Context const &context) {
         facade(context).delete_value(one->values, context.pick(NAMES));
       },
       [one, facade](Context const &context) { facade(context).delete_value(one->top, "K", "v"); },
       [one, facade](Context const &context) {
         facade(context).create_sub_key(one->list, "S", false);
       },
       [one, facade](Context const &context) {
         facade(context).create_sub_key(one->list, "S:3", false);
       },
       [one, facade](Context const &context) { facade(context).delete_key(one->list, "S"); },
       [one, facade](Context const &context) {
         facade(context).find_key(one->list, "S:2");
         one->open.find_sub_key(one->list, "S:1");
       },
       [one, facade](Context const &context) {
         facade(context).find_key_with_value(one->list, "S", "v", "2");
         one->open.find_indexed_key_with_value(one->values, 1, "v", "3");
       },
       [one, facade](Context const &context) {
         long numbers[8];
         unsigned int count = 8;
         facade(context).get_series(one->list, nullptr, "s", numbers, &count);
       },
       [one](Context const &) {
         std::string text;
         one->open.find_value(one->list, "S", nullptr, &text);
       },
       [one](Context const &context) { use_own_key(*one, context); },
       [one](Context const &) {
         long numbers[2];
         unsigned int count = 2;
         one->open.parse_long_series("1 2", numbers, &count);
         one->source.set_search_path(one->directory.path().c_str());
         one->source.open_repository("devices.camera");
       },
       [one](Context const &) { one->source.create_key(one->list, "S", false); },
       [one](Context const &context) {
         one->source.set_value(one->values, context.pick(NAMES), "t", false);
       },
       [one](Context const &) { one->source.commit(); }},
      [one] { check_loadable(*one); }};
}

Stage user_settings(Torture &torture) {
  auto const directory = std::make_shared<TemporaryDirectory>();
  write_file(directory->path("user-config.xml"), "<UserConfig><A Stays='kept'/></UserConfig>");
  setenv("OSTREL_CONFIG_PATH", directory->path().c_str(), 1);
  auto const key = [](Context const &context) {
    return "UserConfig/A/Key" + std::to_string(context.random % 50);
  };
  return {{[&torture, directory](Context const &) {
             std::string text;
             if (UserConfig::get_user_config("UserConfig/A/Stays", &text) != RESULT_SUCCESS ||
                 text != "kept") {
               torture.fault("a setting that stays cannot be read");
             }
           },
           [key](Context const &context) {
             std::string text;
             UserConfig::get_user_config(key(context).c_str(), &text);
             UserConfig::get_user_config("$ObstacleAvoidanceMethod", &text);
           },
           [key](Context const &context) {
             UserConfig::set_user_config(key(context).c_str(), "1", false);
           },
           [key](Context const &context) {
             UserConfig::set_user_config(key(context).c_str(), "2", true);
           },
           [](Context const &) {
             UserConfig::set_user_config("$VisualAvoidanceTolerance", "3", false);
             UserConfig::set_user_config("malformed", "3", false);
           },
           [key](Context const &context) {
             char text[16];
             ovra_user_config__get_value(key(context).c_str(), text, sizeof text);
           },
           [key](Context const &context) {
             ovra_user_config__set_value(key(context).c_str(), "4", context.random % 8 == 0);
           },
           [&torture](Context const &) {
             if (UserConfig::reload() != RESULT_SUCCESS || !UserConfig::is_available()) {
               torture.fault("the settings do not load again");
             }
           },
           [](Context const &) { UserConfig::reload_if_changed(); },
           [key](Context const &context) {
             UserConfig::set_user_configs({{key(context), "5"}, {"UserConfig/A/Key0", "6"}},
                                          context.random % 8 == 0);
           },
           [key](Context const &context) {
             UserConfig::remove_user_config(key(context).c_str(), context.random % 8 == 0);
           },
           [key](Context const &context) {
             double number = 0;
             UserConfig::get_user_config(key(context).c_str(), &number);
             UserConfig::get_user_quantity(key(context).c_str(), UNIT_TYPE_ANGLE, &number);
           },
           [&torture, key](Context const &context) {
             Setting<long> const followed{key(context).c_str(), 1};
             if (followed.get() < 1 || followed.get() > 6) {
               torture.fault("a followed setting is %ld", followed.get());
             }
           },
           [directory](Context const &) {
             XmlConfigSource source;
             Configuration configuration(source);
             std::string text;
             configuration.init_source(directory->path("user-config.xml").c_str());
             configuration.get_value("UserConfig/A", "Stays", &text);
           },
           [key](Context const &context) {
             SettingExplanation explanation;
             std::vector<SettingAlias> aliases;
             UserConfig::explain_user_config(key(context).c_str(), &explanation);
             UserConfig::list_aliases(&aliases);
           }}};
}
