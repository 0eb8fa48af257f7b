// SPDX-License-Identifier: Apache-2.0
// Valid values and keys. Damaged files: see the fuzz target.
#include "core/base/platform/winapi/registry_file.hpp"
#include "tests/support/Files.hpp"

#include <gtest/gtest.h>

namespace {

using namespace Ostrel;
using namespace std::string_literals;

constexpr char const *KEY = "HKEY_LOCAL_MACHINE\\Software\\Ostrel Labs\\OVRA";

// The type, a colon and the bytes of the value "name"; empty for none.
std::string value_in(std::string const &text, char const *name = "name") {
  RegistryValues const values = parse_registry_file(text, KEY);
  auto const found = values.find(name);
  return found == values.end()
             ? ""
             : std::to_string(found->second.type) + ":" +
                   std::string(found->second.data.begin(), found->second.data.end());
}

TEST(RegistryFile, Values) {
  std::string const forty_two = "4:\x2A\0\0\0"s;
  struct {
    char const *lines;
    std::string value;
  } const cases[] = {
      {"\"name\"=\"C:\\\\OVRA\"", "1:C:\\OVRA\0"s},
      {"\"NAME\" = \"by hand: C:\\x\" ; comment", "1:by hand: C:\\x\0"s},
      {"  \"name\"=\"a \\\"quote\\\"; no comment\"\r", "1:a \"quote\"; no comment\0"s},
      {"\"name\"=\"two\r\nlines\" ; comment\n\"b\"=\"\"", "1:two\r\nlines\0"s},
      {"\"name\"=\"\"", "1:\0"s},
      {"\"name\"=dword:0000002a", forty_two},
      {"\"name\"=hex(4):2a,00,00,00", forty_two},
      {"\"name\"=hex:01,\\\n  02,\\\r\n\t03", "3:\x01\x02\x03"},
      {"\"name\"=hex:", "3:"},
      {"\"name\"=\"first\"\n\"name\"=dword:2a", forty_two},
      {"\"name\"=dword:2a\n\"name\"=-", forty_two},
      {"\"name\"=dword:2a\n\"name\"=dword:damaged", forty_two},
      {";\"name\"=\"in a comment\"", ""},
      {"name=\"x\"", ""}};
  for (auto const &c : cases) {
    EXPECT_EQ(value_in(registry_file(c.lines)), c.value) << c.lines;
  }
  for (char const *damaged : {"\"open", "\"x\\", "\"closed\" rest", "dword:123456789", "hex:41,,42",
                              "hex:411", "hex:41 42", ""}) {
    EXPECT_EQ(value_in(registry_file(std::string("\"name\"=") + damaged)), "") << damaged;
  }
  EXPECT_EQ(value_in(registry_file("@=\"x\""), ""), "1:x\0"s);
}

TEST(RegistryFile, Keys) {
  std::string const value = "\"name\"=hex:41\n", ours = std::string("[") + KEY + "]\n";
  struct {
    std::string text;
    bool has_value;
  } const cases[] = {{ours + "[HKEY_LOCAL_MACHINE]\n" + value, false},
                     {ours + "[HKEY_LOCAL_MACHINE]\n" + ours + value, true},
                     {std::string("[") + KEY + "\\Sub]\n" + value, false},
                     {"[HKEY_CURRENT_USER\\Software\\Ostrel Labs\\OVRA]\n" + value, false},
                     {ours + "\"a\"=\"x\n[y]\n\"\n" + value, true},
                     {"[-" + std::string(KEY) + "]\n" + value, false},
                     {ours + "\"a\"=hex:41,\\\n[HKEY_LOCAL_MACHINE]\n" + value, false}};
  for (auto const &c : cases) {
    SCOPED_TRACE(c.text);
    EXPECT_EQ(parse_registry_file(c.text, KEY).count("name") == 1, c.has_value);
  }
}

} // namespace
