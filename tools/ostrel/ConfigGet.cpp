// SPDX-License-Identifier: Apache-2.0
#include "tools/ostrel/ConfigCommands.hpp"

#include "core/base/config/Configuration.hpp"
#include "core/base/config/NullConfigSource.hpp"
#include "core/base/config/UserConfig.hpp"
#include "tools/ostrel/DidYouMean.hpp"
#include "tools/ostrel/ExitStatus.hpp"
#include "tools/ostrel/Numbers.hpp"
#include "tools/ostrel/Settings.hpp"
#include "tools/ostrel/Silence.hpp"
#include "tools/ostrel/Text.hpp"
#include "tools/ostrel/UnitNames.hpp"

#include <nlohmann/json.hpp>

namespace Ostrel::Tool {

namespace {

constexpr unsigned int LONGEST_SERIES = 100'000; // numbers

// Reads a text as the library does.
class SeriesReader : private Configuration {
public:
  explicit SeriesReader(IConfigSource &source) : Configuration(source) {}

  // Reads at most one number more than LONGEST_SERIES.
  std::vector<long> read(std::string const &text) const {
    unsigned int count = LONGEST_SERIES + 1;
    std::vector<long> numbers(count);
    parse_long_series(text.c_str(), numbers.data(), &count);
    numbers.resize(count);
    return numbers;
  }
};

// Null if the text is not of that type, here and below.
template <class T> nlohmann::json read_typed(std::string const &key) {
  T value{};
  return UserConfig::get_user_config(key.c_str(), &value) == RESULT_SUCCESS ? nlohmann::json(value)
                                                                            : nlohmann::json();
}

nlohmann::json read_series(std::string const &text) {
  NullConfigSource source;
  std::vector<long> const numbers = SeriesReader(source).read(text);
  bool const is_series = numbers.empty() ? trimmed(text).empty() : numbers.size() <= LONGEST_SERIES;
  return is_series ? nlohmann::json(numbers) : nlohmann::json();
}

nlohmann::json read_quantity(std::string const &key, std::string const &unit) {
  UnitType const type = find_kind_of(unit)->type;
  double value = 0;
  bool const is_read =
      UserConfig::get_user_quantity(key.c_str(), type, &value) == RESULT_SUCCESS &&
      Units::convert_to_specified_units(type, unit, value, &value) == RESULT_SUCCESS;
  return is_read ? nlohmann::json(rounded(value)) : nlohmann::json();
}

nlohmann::json read_as(GetOptions const &options, std::string const &key, std::string const &text) {
  if (!options.unit.empty()) {
    return read_quantity(key, options.unit);
  }
  if (options.type == "text") {
    return text;
  }
  if (options.type == "series") {
    return read_series(text);
  }
  return options.type == "long"     ? read_typed<long>(key)
         : options.type == "double" ? read_typed<double>(key)
                                    : read_typed<bool>(key);
}

std::string text_of(nlohmann::json const &value) {
  if (value.is_string()) {
    return value.get<std::string>();
  }
  if (!value.is_array()) {
    return value.is_number_float() ? number_text(value.get<double>()) : value.dump();
  }
  std::string text;
  for (nlohmann::json const &number : value) {
    text += (text.empty() ? "" : " ") + text_of(number);
  }
  return text;
}

std::string wanted(GetOptions const &options) {
  if (!options.unit.empty()) {
    UnitKind const &kind = *find_kind_of(options.unit);
    return (kind.type == UNIT_TYPE_ANGLE ? "an " : "a ") + kind.name;
  }
  return options.type == "long"     ? "a whole number"
         : options.type == "double" ? "a number"
         : options.type == "bool"
             ? "true or false"
             : "a series of at most " + std::to_string(LONGEST_SERIES) + " whole numbers";
}

int report_wrong_type(Output &output, GetOptions const &options, std::string const &key,
                      std::string const &text) {
  SettingExplanation place;
  UserConfig::explain_user_config(key.c_str(), &place);
  output.error(place.file + ':' + std::to_string(place.line) + ": " + key + ": '" + text +
               "' is not " + wanted(options));
  return STATUS_UNREADABLE;
}

void print_json(Output &output, GetOptions const &options, std::string const &key,
                nlohmann::json const &value, bool is_default) {
  nlohmann::json object = {{"key", key}, {"value", value}, {"default", is_default}};
  if (!options.unit.empty()) {
    object["unit"] = options.unit;
  }
  output.print_json(object);
}

// Null if the default is not of the type that is asked for. With a unit it is a number in that one.
nlohmann::json parse_default(GetOptions const &options) {
  constexpr char const *KEY = "UserConfig/Ostrel/Default"; // of this process only
  GetOptions plain = options;
  plain.type = options.unit.empty() ? options.type : "double";
  plain.unit.clear();
  Silence const silence;
  bool const is_set = UserConfig::set_user_config(KEY, options.default_text->c_str(),
                                                  /*commit=*/false) == RESULT_SUCCESS;
  return is_set ? read_as(plain, KEY, *options.default_text) : nlohmann::json();
}

int print_default(Output &output, GetOptions const &options, std::string const &key) {
  if (output.is_json()) {
    print_json(output, options, key, parse_default(options), /*is_default=*/true);
  } else {
    output.line(text_of(parse_default(options)));
  }
  return STATUS_DONE;
}

} // namespace

int run_get(Output &output, GetOptions const &options) {
  if (!options.unit.empty() && find_kind_of(options.unit) == nullptr) {
    output.error("there is no unit '" + options.unit + "'" +
                 did_you_mean(options.unit, all_units()));
    return STATUS_NOT_FOUND;
  }
  SettingsState const state = load_settings();
  if (state == SettingsState::UNREADABLE ||
      (state == SettingsState::MISSING && !options.default_text)) {
    return report_unavailable(output, state);
  }
  if (options.default_text && parse_default(options).is_null()) {
    output.error("the default '" + *options.default_text + "' is not " +
                 (options.unit.empty() ? wanted(options) : "a number in " + options.unit));
    return STATUS_USAGE;
  }
  int status = STATUS_DONE;
  std::optional<std::string> const key = resolve_key(output, options.key, &status);
  if (!key) {
    return status == STATUS_NOT_FOUND && options.default_text
               ? print_default(output, options, options.key)
               : status;
  }
  // For the library this is a success that leaves the text alone.
  if (state == SettingsState::MISSING) {
    output.error("there is no settings file; this is the default");
    return print_default(output, options, *key);
  }
  Silence const silence;
  std::string text;
  if (UserConfig::get_user_config(key->c_str(), &text) != RESULT_SUCCESS) {
    return options.default_text ? print_default(output, options, *key)
                                : report_missing(output, *key);
  }
  nlohmann::json const value = read_as(options, *key, text);
  if (value.is_null()) {
    return report_wrong_type(output, options, *key, text);
  }
  if (output.is_json()) {
    print_json(output, options, *key, value, /*is_default=*/false);
  } else {
    output.line(text_of(value));
  }
  return STATUS_DONE;
}

} // namespace Ostrel::Tool
