// SPDX-License-Identifier: Apache-2.0
#include "tests/config/LoadedSource.hpp"
#include "tests/support/CapturedLog.hpp"

#include <gtest/gtest.h>

namespace {

using namespace Ostrel;
using Lines = std::vector<std::string>;

constexpr char CATEGORY[] = "Ostrel.Core.Base.XmlConfigSource";

TEST(XmlConfigSource, WalksKeysAndValuesInDocumentOrder) {
  LoadedSource const one(
      "<R v='1' w='2'>t<D n='a'>x</D><!-- c --><E/><D n='b'/><D/><?p i?><?q?><![CDATA[]]>u</R>");
  std::string name, all;
  void const *const top = one.source.find_first(nullptr, &all);
  EXPECT_EQ(one.source.find_next(top, &name), nullptr);
  all += one.values(top);
  for (void const *key = one.below(top); key != nullptr; key = one.source.find_next(key, &name)) {
    one.source.get_key_name(key, &name);
    all += " " + name + one.values(key);
  }
  EXPECT_EQ(all, "R[=txu][v=1][w=2] D[=x][n=a] E[=] D[=][n=b] D[=]");
  struct {
    char const *name;
    int index;
    char const *values;
  } const cases[] = {
      {"D", -1, ""},       {"D", 0, "[=x][n=a]"}, {"D", 1, "[=][n=b]"},
      {"D", 2, "[=]"},     {"D", 3, ""},          {"text", 0, "[=t]"},
      {"text", 1, "[=u]"}, {"text", 2, ""},       {"comment", 0, "[= c ]"},
      {"p", 0, "[=i]"},    {"q", 0, "[=]"},
  };
  for (auto const &[sub_name, index, values] : cases) {
    EXPECT_EQ(one.values(one.source.find_indexed_sub_key(top, sub_name, index)), values)
        << sub_name << index;
  }
  void const *const comment = one.source.find_indexed_sub_key(top, "comment", 0);
  EXPECT_EQ(one.source.find_indexed_sub_key(comment, "text", 0), nullptr);
}

TEST(XmlConfigSource, TellsTheLinesOfKeys) {
  struct {
    char const *content;
    std::vector<long> lines; // of the keys below the root
  } const cases[] = {{"<R>\n<A/>\n\n<B\n v='1\n2'\n/><C>\n</C><D\n/></R>", {2, 4, 7, 8}},
                     {"<?xml version='1.0'?>\r\n<!-- \n\n -->\r\n<R><A/>\r\n<B/></R>", {5, 6}},
                     {"<!DOCTYPE R [<!ENTITY e '\n<B/>'>]>\n<R><A/>&e;<C/></R>", {0, 0, 0}}};
  for (auto const &c : cases) {
    SCOPED_TRACE(c.content);
    LoadedSource const one(c.content);
    std::string file, name;
    std::vector<long> lines;
    void const *key = one.below(one.top());
    for (; key != nullptr; key = one.source.find_next(key, &name)) {
      EXPECT_EQ(one.source.get_location(key, &file, &lines.emplace_back()), RESULT_SUCCESS);
      EXPECT_EQ(file, one.path);
    }
    EXPECT_EQ(lines, c.lines);
  }
  LoadedSource one("<R><A><B/></A></R>");
  std::string file = "untouched";
  long line = -1;
  void const *const created = one.source.create_key(one.top(), "C", false);
  EXPECT_EQ(one.source.get_location(created, &file, &line), RESULT_SUCCESS);
  EXPECT_EQ(line, 0);
  EXPECT_EQ(one.source.commit(), RESULT_SUCCESS);
  EXPECT_EQ(one.source.get_location(created, &file, &line), RESULT_SUCCESS);
  EXPECT_EQ(line, 6) << "the file has a declaration now, and a line for each tag";
  LoadedSource const other("<R/>");
  file = "untouched";
  EXPECT_EQ(one.source.get_location(other.top(), &file, &line), RESULT_NOT_FOUND);
  EXPECT_EQ(one.source.get_location(nullptr, &file, &line), RESULT_INVALID_ARGUMENT);
  EXPECT_EQ(file + std::to_string(line), "untouched6");
}

TEST(XmlConfigSource, RefusesNullArguments) {
  LoadedSource one("<R v='1'/>");
  std::string text;
  void const *const top = one.top();
  one.source.close_repository(nullptr);
  for (void const *handle :
       {one.source.open_repository(nullptr), one.source.find_first(nullptr, nullptr),
        one.source.find_next(nullptr, &text), one.source.find_first_value(top, nullptr, &text),
        one.source.find_next_value(nullptr, &text, &text),
        one.source.find_indexed_sub_key(nullptr, "D", 0),
        one.source.find_indexed_sub_key(top, nullptr, 0),
        one.source.create_key(nullptr, "K", false), one.source.create_key(top, nullptr, false)}) {
    EXPECT_EQ(handle, nullptr);
  }
  EXPECT_FALSE(one.source.get_key_name(nullptr, &text));
  EXPECT_FALSE(one.source.get_value_data(nullptr, &text, &text));
  EXPECT_EQ(one.source.set_value(nullptr, "v", "t", false), RESULT_SUCCESS);
  EXPECT_EQ(one.source.set_value(top, "v", nullptr, false), RESULT_INVALID_ARGUMENT);
  EXPECT_EQ(one.source.delete_key(nullptr), RESULT_INVALID_ARGUMENT);
  EXPECT_EQ(one.source.delete_value(nullptr), RESULT_FAILURE);
  EXPECT_EQ(one.source.create_source(XmlConfigSource::CREATE_GIVEN_PATH, nullptr, "R"),
            RESULT_INVALID_ARGUMENT);
  EXPECT_EQ(one.values(one.top()), "[=][v=1]");
  EXPECT_EQ(one.source.set_search_path(nullptr), RESULT_SUCCESS);
  EXPECT_EQ(one.source.init_source(one.path.c_str()), RESULT_SUCCESS);
}

TEST(XmlConfigSource, EditsReachTheFileWhenCommitted) {
  LoadedSource one("<R><A>old<B/></A></R>");
  std::string const before = read_file(one.path);
  void const *a = one.below(one.top());
  EXPECT_EQ(one.source.set_value(a, "v", "1", false), RESULT_SUCCESS);
  EXPECT_EQ(one.source.set_value(a, nullptr, "new", false), RESULT_SUCCESS);
  EXPECT_EQ(one.below(a), nullptr);
  EXPECT_EQ(read_file(one.path), before);
  EXPECT_EQ(one.source.set_value(a, "v", "2", true), RESULT_SUCCESS);
  void const *c = one.source.create_key(one.top(), "C", true);
  EXPECT_EQ(read_file(one.path),
            "<?xml version=\"1.0\"?>\n<R>\n  <A v=\"2\">new</A>\n  <C/>\n</R>\n");
  std::string name, text;
  void const *value = one.source.find_first_value(a, &name, &text);
  EXPECT_EQ(one.source.delete_value(value), RESULT_FAILURE);
  EXPECT_EQ(one.source.delete_value(one.source.find_next_value(value, &name, &text)),
            RESULT_SUCCESS);
  EXPECT_EQ(one.source.delete_key(c), RESULT_SUCCESS);
  EXPECT_EQ(read_file(one.path), "<?xml version=\"1.0\"?>\n<R>\n  <A>new</A>\n</R>\n");
}

TEST(XmlConfigSource, SearchesDirectoriesInOrderAndLogsEachPath) {
  TemporaryDirectory const directory;
  write_file(directory.path("a/in-a.xml"), "<A/>");
  write_file(directory.path("b/in-a.xml"), "<B/>");
  write_file(directory.path("b/in-b.xml"), "<B/>");
  std::string const a = directory.path("a"), b = directory.path("b");
  struct {
    std::string path, file, top; // empty top: not found
    Lines tried;
  } const cases[] = {
      {a + ";" + b, "in-a.xml", "A", {}},
      {b + ";" + a, "in-a.xml", "B", {}},
      {a + ";;" + b, "in-b.xml", "B", {}},
      {a, b + "/in-b.xml", "B", {}},
      {a + ";" + b, "none.xml", "", {a + "\\none.xml", b + "\\none.xml", ".\\none.xml"}},
      {"c;;d", "\\none.xml", "", {"c\\none.xml", ".\\none.xml", "d\\none.xml", ".\\none.xml"}}};
  CapturedLog log(CATEGORY);
  for (auto const &c : cases) {
    SCOPED_TRACE(c.path + " " + c.file);
    XmlConfigSource source;
    ASSERT_EQ(source.set_search_path(c.path.c_str()), RESULT_SUCCESS);
    unsigned long const result = source.init_source(c.file.c_str());
    std::string name;
    source.find_first(nullptr, &name);
    EXPECT_EQ(name, c.top);
    Lines warnings;
    for (std::string const &tried : c.tried) {
      warnings.push_back("WARN  - Unable to find file '" + tried + "'");
    }
    if (result != RESULT_SUCCESS) {
      EXPECT_EQ(result, RESULT_NOT_FOUND);
      warnings.push_back("WARN  - Failed to find file '" + c.file + "'");
    }
    EXPECT_EQ(log.take(), warnings);
  }
  XmlConfigSource unreadable; // a failing read must not lead to another file
  ASSERT_EQ(unreadable.set_search_path("/proc/self"), RESULT_SUCCESS);
  EXPECT_EQ(unreadable.init_source("mem"), RESULT_SYSTEM_ERROR);
  EXPECT_EQ(log.take().at(0), "WARN  - Unable to read file '/proc/self\\mem': Input/output error");
}

TEST(XmlConfigSource, TheRootDependsOnTheTopKey) {
  struct {
    int requested, found;
    char const *file, *top;
  } const cases[] = {
      {4, 4, "personality-config.xml", "Personalities"}, {6, 6, "semantic-config.xml", "Semantics"},
      {2, 2, "application-config.xml", "Applications"},  {7, 7, "user-config.xml", "UserConfig"},
      {3, 3, "behavior-config.xml", "Behaviors"},        {7, 1, "user-config.xml", "userconfig"},
      {5, 5, "resource-config.xml", "Resources"},        {7, 5, "user-config.xml", "Resources"},
      {7, 1, "user-config.xml", "UserConfigs"},          {7, 1, "user-config.xml", "User"}};
  int const others = XmlConfigSource::_instance_count;
  for (auto const &c : cases) {
    SCOPED_TRACE(std::string(c.file) + " " + c.top);
    TemporaryDirectory const directory;
    write_file(directory.path(c.file), std::string("<") + c.top + "/>");
    XmlConfigSource source;
    EXPECT_EQ(source.get_config_root(), 0);
    EXPECT_EQ(XmlConfigSource::_instance_count, others + 1);
    auto const requested = static_cast<IConfigSource::ConfigRoot>(c.requested);
    EXPECT_EQ(source.init_source(requested, directory.path().c_str()), RESULT_SUCCESS);
    EXPECT_EQ(source.get_config_root(), c.found);
  }
  for (int number : {-1, 0, 1, 8}) {
    auto const root = static_cast<IConfigSource::ConfigRoot>(number);
    EXPECT_EQ(XmlConfigSource().init_source(root, nullptr), RESULT_INVALID_ARGUMENT);
  }
}

TEST(XmlConfigSource, AFailedLoadKeepsOrDropsTheOldDocument) {
  LoadedSource one("<Behaviors v='1'/>");
  CapturedLog const log(CATEGORY);
  EXPECT_EQ(one.source.init_source("no-such-file.xml"), RESULT_NOT_FOUND);
  EXPECT_EQ(one.values(one.top()), "[=][v=1]");
  std::string const broken = one.directory.path("broken.xml");
  write_file(broken, "<R>");
  EXPECT_EQ(one.source.init_source(broken.c_str()), RESULT_FAILURE);
  EXPECT_EQ(one.top(), nullptr);
  EXPECT_EQ(one.source.commit(), RESULT_FAILURE);
  EXPECT_EQ(read_file(broken), "<R>");
  EXPECT_EQ(one.source.init_source(one.path.c_str()), RESULT_SUCCESS);
  EXPECT_EQ(one.source.delete_key(one.top()), RESULT_IO_ERROR); // no document is left to write
  EXPECT_EQ(read_file(one.path), "<Behaviors v='1'/>");
}

TEST(XmlConfigSource, RepositoriesAreOpenedOnceAndNeverWritten) {
  LoadedSource one("<R/>");
  std::string const file = one.directory.path("devices/camera.xml");
  write_file(file, "<Camera v='1'/>");
  ASSERT_EQ(one.source.set_search_path(one.directory.path().c_str()), RESULT_SUCCESS);
  void const *camera = one.source.open_repository("devices.camera");
  ASSERT_NE(camera, nullptr);
  EXPECT_EQ(one.source.set_value(camera, "v", "2", true), RESULT_SUCCESS);
  EXPECT_EQ(one.source.open_repository("devices.camera"), camera);
  one.source.close_repository("devices.camera");
  EXPECT_EQ(read_file(file), "<Camera v='1'/>");
  EXPECT_EQ(one.values(one.source.open_repository("devices.camera")), "[=][v=1]");
  CapturedLog log(CATEGORY);
  write_file(one.directory.path("broken.xml"), "<");
  EXPECT_EQ(one.source.open_repository("broken"), nullptr);
  EXPECT_EQ(log.take(),
            Lines{"WARN  - Failed to parse config file " + one.directory.path() + "\\broken.xml"});
  EXPECT_EQ(one.source.open_repository("none"), nullptr);
  EXPECT_EQ(log.take().size(), 2u); // the search path's directory and the current one
}

TEST(XmlConfigSource, EditsThatCannotBeWrittenStayInMemory) {
  XmlConfigSource source;
  source.create_source(XmlConfigSource::CREATE_GIVEN_PATH, "/nowhere/file.xml", "R");
  std::string name, text;
  void const *const top = source.find_first(nullptr, &name);
  EXPECT_EQ(source.create_key(top, "K", true), nullptr);
  EXPECT_NE(source.find_first(top, &name), nullptr);
  EXPECT_EQ(source.set_value(top, "v", "1", true), RESULT_IO_ERROR);
  EXPECT_EQ(source.delete_value(source.find_next_value(top, &name, &text)), RESULT_IO_ERROR);
}

TEST(XmlConfigSource, CreatesADocumentThatACommitWrites) {
  TemporaryDirectory const directory;
  std::string const path = directory.path("a%41b.xml"); // a file name, not a URL
  XmlConfigSource source;
  CapturedLog log(CATEGORY);
  struct {
    int mode;
    char const *root;
    unsigned long result;
    std::size_t warnings;
  } const cases[] = {{1, "R", RESULT_NOT_IMPLEMENTED, 0},  {2, "R", RESULT_NOT_IMPLEMENTED, 0},
                     {3, "R", RESULT_INVALID_ARGUMENT, 0}, {0, nullptr, RESULT_FAILURE, 1},
                     {0, "no name", RESULT_FAILURE, 1},    {0, "Behaviors", RESULT_SUCCESS, 0}};
  for (auto const &c : cases) {
    SCOPED_TRACE(std::to_string(c.mode) + (c.root == nullptr ? "" : c.root));
    auto const mode = static_cast<XmlConfigSource::CreateFilePath>(c.mode);
    EXPECT_EQ(source.create_source(mode, path.c_str(), c.root), c.result);
    EXPECT_EQ(log.take(),
              Lines(c.warnings, "WARN  - Failed to create new root node in '" + path + "'"));
    EXPECT_EQ(source.commit(), c.result == RESULT_SUCCESS ? RESULT_SUCCESS : RESULT_FAILURE);
  }
  EXPECT_EQ(source.get_config_root(), IConfigSource::CONFIG_ROOT_NONE);
  EXPECT_EQ(read_file(path), "<?xml version=\"1.0\"?>\n<Behaviors/>\n");
}

} // namespace
