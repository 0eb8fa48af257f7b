// SPDX-License-Identifier: Apache-2.0
#include "core/base/foundation/ResultCode.hpp"
#include "core/base/platform/Platform.hpp"
#include "tests/support/CapturedLog.hpp"
#include "tests/support/System.hpp"

#include <gtest/gtest.h>

namespace {

using namespace Ostrel;

std::string read_property(Platform::SystemProperty property) {
  std::string text = "stale";
  EXPECT_EQ(Platform::get_system_property(property, &text), RESULT_SUCCESS);
  return text;
}

// The directory of the sources, in which the defaults are.
std::string const ROOT = std::string(__FILE__).substr(0, std::string(__FILE__).rfind("/tests/"));

TEST(SystemProperty, SourcesInTheirOrder) {
  std::string const config = ROOT + "/config;" + ROOT + "/local/config", data = ROOT + "/data";
  std::string const installed = "\"InstallPath\"=\"D:\\\\robot\"\n";
  struct {
    Platform::SystemProperty property;
    char const *variable; // its value, if any
    std::string registry, text;
  } const cases[] = {
      {Platform::INSTALL_PATH, nullptr, "", "c:\\OVRA"},
      {Platform::INSTALL_PATH, nullptr, installed, "D:\\robot"},
      {Platform::INSTALL_PATH, nullptr, "\"InstallPath\"=\"\"\n", ""},
      {Platform::INSTALL_PATH, nullptr, "\"InstallPath\"=hex(2):44,00\n", "c:\\OVRA"},
      {Platform::CONFIG_PATH, "V", "", "V;" + config},
      {Platform::CONFIG_PATH, "", installed, ";D:\\robot\\config"},
      {Platform::DATA_PATH, nullptr, "", data},
      {Platform::DATA_PATH, "A;B", installed, "A;B;D:\\robot\\data"},
      {Platform::DATA_PATH, "A\\", "\"InstallPath\"=\"\"\n", "A\\;\\data"},
      {Platform::DATA_PATH, nullptr, "\"InstallPath\"=\"\"\n", "data"},
      {Platform::DATA_PATH, nullptr, "\"InstallPath\"=\"D:\\\\\"\n", "D:\\data"},
      {Platform::DATA_PATH, nullptr, "\"DataPath\"=dword:ffffffff\n", "4294967295;" + data},
      {Platform::DATA_PATH, nullptr, "\"DataPath\"=hex(4):2a\n", data},
      {Platform::DATA_PATH, nullptr, "\"DataPath\"=hex(1):41,42\n", "AB;" + data},
      {Platform::DATA_PATH, nullptr, "\"DataPath\"=hex(1):\n", ";" + data},
      {Platform::AUDIO_PATH, "", installed, ";D:\\robot\\audio"},
      {Platform::AUDIO_PATH, "", "\"AudioPath\"=\"R\"\n", ";" + data + "/audio"},
      {Platform::AUDIO_PATH, nullptr, "\"AudioPath\"=\"\"\n", ";" + data + "/audio"},
      {Platform::IMAGES_PATH, nullptr, "\"ImagesPath\"=\"R\"\n", "R;" + data + "/images"},
      {Platform::FACES_PATH, nullptr, installed, "D:\\robot\\data\\faces"},
      {Platform::MODELSETS_PATH, "", "\"ModelsetsPath\"=\"M\"\n" + installed,
       "M;D:\\robot\\data\\objrec\\default"},
      {Platform::MODELSETS_PATH, "", "", ";" + data + "/objrec/default"},
      {Platform::MODELSETS_PATH, "V", "\"ModelsetsPath\"=\"M\"\n", "V;" + data + "/objrec/default"},
      {Platform::SLAM_LANDMARK_PATH, "S", installed, "S"},
      {Platform::SLAM_LANDMARK_PATH, "", "\"SlamLandmarkPath\"=\"R\"\n", "R"},
      {Platform::SLAM_LANDMARK_PATH, nullptr, "\"SlamLandmarkPath\"=\"\"\n", data + "/slam"},
      {Platform::SLAM_LANDMARK_PATH, nullptr, installed, "D:\\robot\\data\\slam"}};
  char const *const variables[] = {"OSTREL_INSTALL_PATH",   "OSTREL_CONFIG_PATH",
                                   "OSTREL_DATA_PATH",      "OSTREL_AUDIO_PATH",
                                   "OSTREL_IMAGES_PATH",    "OSTREL_FACES_PATH",
                                   "OSTREL_MODELSETS_PATH", "OSTREL_SLAM_LANDMARK_PATH"};
  CapturedLog log("Ostrel.Core.Base.Win32Platform");
  for (auto const &c : cases) {
    SCOPED_TRACE(std::to_string(c.property) + " with " + (c.variable ? c.variable : "none") +
                 " and " + c.registry);
    auto const contents = provide_registry(c.registry);
    set_variable(variables[c.property], c.variable);
    EXPECT_EQ(read_property(c.property), c.text);
    set_variable(variables[c.property], nullptr);
  }
  EXPECT_EQ(log.take(),
            std::vector<std::string>{"WARN  - Could not read registry value for Software\\Ostrel "
                                     "Labs\\OVRA\\SlamLandmarkPath"})
      << "from the last one";
}

TEST(SystemProperty, ElementsNameTheirOrigin) {
  using Element = SearchPathElement;
  struct {
    Platform::SystemProperty property;
    char const *variable, *value;
    std::string registry;
    std::vector<std::string> elements;
  } const cases[] = {
      {Platform::CONFIG_PATH,
       "OSTREL_CONFIG_PATH",
       "A;;B",
       "\"InstallPath\"=\"D:\"\n",
       {"OSTREL_CONFIG_PATH A", "OSTREL_CONFIG_PATH ", "OSTREL_CONFIG_PATH B",
        "InstallPath D:\\config"}},
      {Platform::CONFIG_PATH,
       "OSTREL_CONFIG_PATH",
       "",
       "",
       {"OSTREL_CONFIG_PATH ", " " + ROOT + "/config", " " + ROOT + "/local/config"}},
      {Platform::DATA_PATH,
       "OSTREL_DATA_PATH",
       nullptr,
       "\"DataPath\"=\"R\"\n",
       {"DataPath R", " " + ROOT + "/data"}},
      {Platform::SLAM_LANDMARK_PATH,
       "OSTREL_SLAM_LANDMARK_PATH",
       "A;B",
       "",
       {"OSTREL_SLAM_LANDMARK_PATH A;B"}},
      {Platform::INSTALL_PATH, "OSTREL_CONFIG_PATH", nullptr, "", {" c:\\OVRA"}}};
  for (auto const &c : cases) {
    SCOPED_TRACE(c.elements.front());
    auto const contents = provide_registry(c.registry);
    set_variable(c.variable, c.value);
    std::vector<Element> elements;
    EXPECT_EQ(Platform::get_search_path_elements(c.property, &elements), RESULT_SUCCESS);
    std::vector<std::string> texts;
    for (Element const &element : elements) {
      EXPECT_EQ(element.origin_name.empty(), element.origin == Element::ORIGIN_BUILT_IN);
      texts.push_back(element.origin_name + " " + element.directory);
    }
    EXPECT_EQ(texts, c.elements);
    set_variable(c.variable, nullptr);
  }
}

TEST(SystemProperty, UnusableRegistryFilesAreIgnored) {
  if (ON_WINDOWS) {
    GTEST_SKIP() << "whose registry is no file";
  }
  for (char const *file : {"/dev/zero", "/", "/none", "/proc/self/mem"}) {
    set_variable("OSTREL_REGISTRY_FILE", file);
    EXPECT_EQ(read_property(Platform::INSTALL_PATH), "c:\\OVRA") << file;
  }
  set_variable("OSTREL_REGISTRY_FILE", nullptr);
}

TEST(SystemProperty, RefusesUnknownProperties) {
  constexpr auto UNKNOWN = static_cast<Platform::SystemProperty>(-1);
  std::string text = "stale";
  EXPECT_EQ(Platform::get_system_property(UNKNOWN, &text), RESULT_INVALID_ARGUMENT);
  EXPECT_EQ(text, "stale");
  EXPECT_EQ(Platform::get_system_property(Platform::DATA_PATH, nullptr), RESULT_INVALID_ARGUMENT);
}

} // namespace
