// What the program loads, from where, and what it says when that is not to be had.
#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "OrviaL3Unicast/L3EcmpGroupTable.h"
#include "Vek/PlatformModules.h"
#include "agent/AgentModule.h"
#include "agent/TableSource.h"
#include "tests/agent/AgentProcess.h"

namespace OrviaL3Agent {
namespace {

using namespace Testing;
namespace fs = std::filesystem;

char const* const tables[] = {"IngL3NextHop1Table", "EcmpIngL3NextHop1Table", "L3EcmpMemberTable",
                              "L3EcmpGroupTable"};

// Where the build has the library and what is loaded with it.
fs::path libraryDirectory() {
  return fs::canonical(fs::path(agentBinary()).parent_path() / ".." / "lib");
}

std::string pathOf(std::string const& table) {
  return "OrviaFeaturePlugin/OrviaL3Unicast::" + table;
}

// A plug-in root of its own, gone with this object.
class Root {
 public:
  Root() {
    std::string name = (fs::temp_directory_path() / "orvia-root-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("no temporary directory");
    path_ = fs::canonical(name);
  }
  ~Root() { fs::remove_all(path_); }
  Root(Root const&) = delete;
  Root& operator=(Root const&) = delete;

  // The simulated ASIC as a vendor delivers it: its shared object and the modules below.
  Root& addSoftAsic() {
    fs::copy_file(libraryDirectory() / "libOrviaSoftAsic.so", path_ / "libOrviaSoftAsic.so");
    for (std::string const table : tables) {
      fs::create_directories(path_ / pathOf(table));
      fs::copy_file(libraryDirectory() / pathOf(table) / "soft-asic.so", module(table));
    }
    return *this;
  }

  [[nodiscard]] std::string path() const { return path_.string(); }
  [[nodiscard]] fs::path directory(std::string const& table) const { return path_ / pathOf(table); }
  [[nodiscard]] fs::path module(std::string const& table) const {
    return directory(table) / "soft-asic.so";
  }
  [[nodiscard]] std::string option() const { return "--plugin-root '" + path() + "' "; }

 private:
  fs::path path_;
};

std::string dynamicSectionOf(fs::path const& file) {
  Ended const ended = shell("readelf -d '" + file.string() + "'");
  EXPECT_EQ(ended.exitCode, 0) << ended.error;
  return ended.output;
}

// The files of this project that are mapped into the agent while it prints the tables of a replay.
// More is printed than fits into a pipe, so it stands still until somebody reads.
std::vector<std::string> mappedWhileServing(std::string const& options,
                                            std::string const& environment = "") {
  std::string const command = "echo $$; " + environment + " exec '" + agentBinary() + "' " +
                              options + "replay " + stream("bgp-1k-distinct16.0.fpm") + " --show";
  std::unique_ptr<std::FILE, int (*)(std::FILE*)> const pipe(::popen(command.c_str(), "r"),
                                                             &::pclose);
  std::array<char, 64> text{};
  if (std::fgets(text.data(), text.size(), pipe.get()) == nullptr) return {"no process"};
  int const process = std::atoi(text.data());
  if (std::fgets(text.data(), text.size(), pipe.get()) == nullptr) return {"no output"};
  EXPECT_STREQ(text.data(), "Next hops of routes\n");
  std::ifstream maps("/proc/" + std::to_string(process) + "/maps");
  std::set<std::string> files;
  for (std::string line; std::getline(maps, line);) {
    std::size_t const path = line.find('/');
    if (path == std::string::npos) continue;
    std::string const file = line.substr(path);
    std::string const name = fs::path(file).filename().string();
    if (name.starts_with("libOrvia") || name.starts_with("liborvia") || name == "soft-asic.so") {
      files.insert(file);
    }
  }
  // Let it end as it wants to.
  while (std::fgetc(pipe.get()) != EOF) {
  }
  return {files.begin(), files.end()};
}

// What has to be mapped: one of each.
std::vector<std::string> oneOfEach(fs::path const& root) {
  fs::path const lib = libraryDirectory();
  std::set<std::string> files{lib / "libOrviaL3Unicast.so", lib / "libOrviaPlatform.so",
                              lib / "libOrviaKernelNextHop.so", lib / kModuleFile,
                              root / "libOrviaSoftAsic.so"};
  for (std::string const table : tables) files.insert(root / pathOf(table) / "soft-asic.so");
  return {files.begin(), files.end()};
}

TEST(Loading, NeitherTheProgramNorItsModuleLinksTheLibrary) {
  std::string const program = dynamicSectionOf(agentBinary());
  EXPECT_TRUE(contains(program, "[libOrviaPlatform.so]"));
  EXPECT_FALSE(contains(program, "libOrviaL3Unicast"));
  std::string const module = dynamicSectionOf(libraryDirectory() / kModuleFile);
  EXPECT_TRUE(contains(module, "[libOrviaPlatform.so]"));
  EXPECT_FALSE(contains(module, "libOrviaL3Unicast"));
  // What the program depends on does not bring it along either.
  Ended const all = shell("ldd '" + agentBinary() + "'");
  EXPECT_EQ(all.exitCode, 0) << all.error;
  EXPECT_TRUE(contains(all.output, "libOrviaPlatform.so"));
  EXPECT_FALSE(contains(all.output, "libOrviaL3Unicast"));
}

TEST(Loading, OneCopyOfEverythingIsMappedWhileItServes) {
  EXPECT_EQ(mappedWhileServing(""), oneOfEach(libraryDirectory()));
}

TEST(Loading, TheOptionSaysWherePluginsAre) {
  Root root;
  root.addSoftAsic();
  EXPECT_EQ(mappedWhileServing(root.option()), oneOfEach(root.path()));
}

TEST(Loading, TheEnvironmentSaysWherePluginsAreUnlessTheOptionDoes) {
  Root root;
  root.addSoftAsic();
  EXPECT_EQ(mappedWhileServing("", "ORVIA_PLUGIN_ROOT='" + root.path() + "'"),
            oneOfEach(root.path()));
  EXPECT_EQ(mappedWhileServing(root.option(), "ORVIA_PLUGIN_ROOT=/no-such-folder"),
            oneOfEach(root.path()));
}

TEST(Loading, AnotherLibraryIsTakenWithThePluginsBesideIt) {
  Root root;
  root.addSoftAsic();
  fs::copy_file(libraryDirectory() / "libOrviaL3Unicast.so",
                fs::path(root.path()) / "libOrviaL3Unicast.so");
  std::vector<std::string> const mapped =
      mappedWhileServing("--library '" + root.path() + "/libOrviaL3Unicast.so' ");
  std::set<std::string> wanted;
  for (std::string const& file : oneOfEach(root.path())) {
    bool const isLibrary = fs::path(file).filename() == "libOrviaL3Unicast.so";
    wanted.insert(isLibrary ? root.path() + "/libOrviaL3Unicast.so" : file);
  }
  EXPECT_EQ(std::set<std::string>(mapped.begin(), mapped.end()), wanted);
}

TEST(Loading, WhatIsLoadedProgramsTheHardwareJustAsWhatIsLinked) {
  struct Case {
    char const* stream;
    char const* options;
    std::function<void(ReplayOptions&)> change;
  };
  Case const cases[] = {
      {"weights.0.fpm", "", [](ReplayOptions&) {}},
      {"churn-500-1to16way.0.fpm", "", [](ReplayOptions&) {}},
      {"w1-static.0.fpm", " --answer now",
       [](ReplayOptions& options) { options.answer = ReplayOptions::Answer::now; }},
      {"flap-static-reconn.0.fpm", " --fault all:refuse-every=3,answer=2,order=random",
       [](ReplayOptions& options) {
         SoftAsic::faultIs(options.faults, "all:refuse-every=3,answer=2,order=random");
       }}};
  for (Case const& each : cases) {
    TemporaryFile const ofProgram;
    Ended const ended = agent("replay " + stream(each.stream) + each.options + " --journal '" +
                              ofProgram.path() + "'");
    ASSERT_EQ(ended.exitCode, 0) << ended.error;

    ReplayOptions options;
    options.file = streamPath(each.stream);
    options.journalFile = "kept";
    each.change(options);
    Replay replay(options);
    Progress progress(Progress::Style::off);
    replay.run(progress);
    TemporaryFile const ofCore;
    replay.journal()->save(ofCore.path());

    EXPECT_GT(lines(contentOf(ofCore.path())), 20U) << each.stream;
    EXPECT_EQ(contentOf(ofProgram.path()), contentOf(ofCore.path())) << each.stream;
  }
}

TEST(Loading, ALibraryThatIsNotThereIsNamed) {
  Ended const ended = agent("--library /no-such-folder/library.so replay " + stream("forms.0.fpm"));
  EXPECT_EQ(ended.exitCode, 1);
  EXPECT_EQ(ended.output, "");
  EXPECT_EQ(ended.error,
            "orvia-l3-agent: cannot load the library: /no-such-folder/library.so: cannot open "
            "shared object file: No such file or directory\n");
}

// A bare name is a file here, and not one along the system's path.
TEST(Loading, ALibraryIsAFileAndNoName) {
  Ended const ended = agent("--library=libOrviaL3Unicast.so replay " + stream("forms.0.fpm"));
  EXPECT_EQ(ended.exitCode, 1);
  EXPECT_TRUE(contains(ended.error, "cannot load the library: ./libOrviaL3Unicast.so: "));
}

TEST(Loading, ALibraryWithoutTablesIsRefused) {
  std::string const other = libraryDirectory() / "libOrviaPlatform.so";
  Ended const ended = agent("--library '" + other + "' replay " + stream("forms.0.fpm"));
  EXPECT_EQ(ended.exitCode, 1);
  EXPECT_EQ(ended.output, "");
  EXPECT_TRUE(ended.error.starts_with("orvia-l3-agent: the library makes no table: "))
      << ended.error;
  EXPECT_TRUE(contains(ended.error, "libOrviaPlatform.so: "));
  EXPECT_TRUE(contains(ended.error, "orviaIngL3NextHop1TableFactory"));
}

TEST(Loading, AMissingRootIsNamed) {
  Ended const ended = agent("--plugin-root /no-such-folder replay " + stream("forms.0.fpm"));
  EXPECT_EQ(ended.exitCode, 1);
  EXPECT_EQ(ended.output, "");
  EXPECT_EQ(ended.error,
            "orvia-l3-agent: OrviaL3Unicast::IngL3NextHop1Table has no utility: looked in "
            "/no-such-folder/OrviaFeaturePlugin/OrviaL3Unicast::IngL3NextHop1Table: no such "
            "directory\n");
}

TEST(Loading, AnEmptyDirectoryOfOneTableIsNamed) {
  for (std::string const table : tables) {
    Root root;
    root.addSoftAsic();
    fs::remove(root.module(table));
    Ended const ended = agent(root.option() + "replay " + stream("forms.0.fpm"));
    EXPECT_EQ(ended.exitCode, 1) << table;
    EXPECT_EQ(ended.error, "orvia-l3-agent: OrviaL3Unicast::" + table +
                               " has no utility: looked in " + root.directory(table).string() +
                               ": no plug-in there\n");
  }
}

TEST(Loading, ABrokenPluginIsNamedWithTheReason) {
  Root root;
  root.addSoftAsic();
  std::ofstream(root.module("L3EcmpMemberTable"), std::ios::trunc) << "no program";
  Ended const ended = agent(root.option() + "replay " + stream("forms.0.fpm"));
  EXPECT_EQ(ended.exitCode, 1);
  EXPECT_EQ(ended.output, "");
  EXPECT_TRUE(ended.error.starts_with(
      "orvia-l3-agent: OrviaL3Unicast::L3EcmpMemberTable has no utility: looked in " +
      root.directory("L3EcmpMemberTable").string() + "\n" +
      root.module("L3EcmpMemberTable").string() + ": cannot be opened: "))
      << ended.error;
  EXPECT_EQ(lines(ended.error), 2U) << ended.error;
}

TEST(Loading, APluginInTheDirectoryOfAnotherTableIsNamedWithWhatItAnnounced) {
  Root root;
  root.addSoftAsic();
  fs::path const misplaced = root.directory("L3EcmpMemberTable") / "a-copy.so";
  fs::remove(root.module("L3EcmpMemberTable"));
  fs::copy_file(root.module("EcmpIngL3NextHop1Table"), misplaced);
  Ended const ended = agent(root.option() + "replay " + stream("forms.0.fpm"));
  EXPECT_EQ(ended.exitCode, 1);
  // The copy comes too late in the one directory, and brings nothing in the other.
  EXPECT_EQ(ended.error,
            "orvia-l3-agent: OrviaL3Unicast::L3EcmpMemberTable has no utility: looked in " +
                root.directory("L3EcmpMemberTable").string() + "\n" + misplaced.string() +
                ": announced OrviaL3Unicast::EcmpIngL3NextHop1Table, which already has the utility "
                "of " +
                root.module("EcmpIngL3NextHop1Table").string() + "\n");
}

TEST(Loading, APluginThatAnnouncesNoUtilityForItsDirectoryIsPointedOut) {
  Root root;
  root.addSoftAsic();
  // The first directory that is looked into: the copy is not late there.
  fs::remove(root.module("L3EcmpGroupTable"));
  fs::copy_file(root.module("IngL3NextHop1Table"), root.module("L3EcmpGroupTable"));
  Ended const ended = agent(root.option() + "replay " + stream("forms.0.fpm"));
  EXPECT_EQ(ended.exitCode, 1);
  EXPECT_EQ(ended.error,
            "orvia-l3-agent: OrviaL3Unicast::L3EcmpGroupTable has no utility: looked in " +
                root.directory("L3EcmpGroupTable").string() + "\n" +
                root.module("L3EcmpGroupTable").string() +
                ": announced OrviaL3Unicast::IngL3NextHop1Table, no utility for this table\n");
}

TEST(Loading, CommandsWithoutTablesNeedNoPlugins) {
  TemporaryFile const journal("1 member remove row 4: taken\n");
  Ended const ended = agent("--plugin-root /no-such-folder compare '" + journal.path() + "' '" +
                            journal.path() + "'");
  EXPECT_EQ(ended.exitCode, 0) << ended.error;
}

TEST(Loading, WrongUsageOfTheOptionsIsWrongUsage) {
  for (std::string const option : {"--plugin-root", "--library"}) {
    std::string const compare = " compare /dev/null /dev/null ";
    for (std::string const& arguments :
         {option, option + " ''" + compare, compare + option + " x"}) {
      Ended const ended = agent(arguments);
      EXPECT_EQ(ended.exitCode, 2) << arguments;
      EXPECT_TRUE(contains(ended.error, option)) << arguments;
      EXPECT_TRUE(contains(ended.error, "Run with --help for more information.\n")) << arguments;
    }
  }
}

// What the factory of a utility throws, or nothing.
std::string reasonAgainst(OrviaAsicUtils::UtilCreate create, OrviaAsicUtils::SwTable& table) {
  try {
    create(table);
    return "";
  } catch (TableSourceError const& error) {
    return error.what();
  }
}

TEST(Loading, AUtilityOfTheSoftAsicIsOnlyMadeWhileItsDeviceIsAttached) {
  auto const table = OrviaL3Unicast::L3EcmpGroupTable::L3EcmpGroupTableIs();
  OrviaAsicUtils::UtilCreate const create = pluginUtilOf(*table);
  ASSERT_NE(create, nullptr);
  std::string const outside =
      "OrviaL3Unicast::L3EcmpGroupTable: its utility from " +
      OrviaAsicUtils::utilFactory("OrviaL3Unicast::L3EcmpGroupTable")->origin +
      " could not be made: the utilities of the simulated ASIC are made by SoftDevice::attach, and "
      "no device is attaching a table; who wants the utilities of another plug-in sets the plug-in "
      "root";
  EXPECT_EQ(reasonAgainst(create, *table), outside);
  SoftAsic::SoftDevice const device({}, SoftAsic::AnswerQueue::Delivery::atOnce);
  device.attach(*table, create);
  ASSERT_NE(table->util(), nullptr);
  EXPECT_EQ(table->maxIndex(), 16383U);
  EXPECT_EQ(reasonAgainst(create, *table), outside);
}

TEST(Loading, APluginThatMakesNoUtilityIsRefusedBeforeTheTableIsTouched) {
  auto const table = OrviaL3Unicast::L3EcmpGroupTable::L3EcmpGroupTableIs();
  SoftAsic::SoftDevice const device({}, SoftAsic::AnswerQueue::Delivery::atOnce);
  OrviaAsicUtils::UtilCreate const none = [](OrviaAsicUtils::SwTable&) {
    return Vek::Ptr<OrviaAsicUtils::SwTableUtil>();
  };
  try {
    device.attach(*table, none);
    FAIL() << "attached without a utility";
  } catch (std::runtime_error const& error) {
    EXPECT_STREQ(error.what(), "OrviaL3Unicast::L3EcmpGroupTable: no utility was made");
  }
  EXPECT_FALSE(table->hwTableReady());
  EXPECT_EQ(table->hwTable(), nullptr);
}

struct OtherTable : OrviaAsicUtils::SwTable {
  OtherTable() : SwTable("other") {}
};

// A table of its own name, whose utility is made as the test says.
struct TableOf : OrviaAsicUtils::SwTable {
  TableOf() : SwTable("of the test") {}
  [[nodiscard]] Vek::VekType fwkType() const override;
};
constexpr Vek::VekTypeInfo testTypes[] = {
    {1,
     "LoadingTest::Table",
     {&OrviaAsicUtils::asicUtilsModule, OrviaAsicUtils::AsicUtilsNumbers::swTable},
     nullptr,
     nullptr}};
constinit Vek::VekModule const testModule{"LoadingTest", testTypes};
Vek::VekType TableOf::fwkType() const { return {&testModule, 1}; }

TEST(Loading, AUtilityThatCannotBeMadeIsNamedWithTableAndFile) {
  static Vek::Ptr<OrviaAsicUtils::SwTableUtil> (*making)();
  ASSERT_TRUE(OrviaAsicUtils::utilFactoryIs(
      {"LoadingTest::Table", [](OrviaAsicUtils::SwTable&) { return making(); }, "/root/chip.so"}));
  Vek::Ptr<TableOf> const table = new TableOf;
  OrviaAsicUtils::UtilCreate const create = pluginUtilOf(*table);
  std::string const failed =
      "LoadingTest::Table: its utility from /root/chip.so could not be made: ";
  making = []() -> Vek::Ptr<OrviaAsicUtils::SwTableUtil> {
    throw std::runtime_error("no memory on chip");
  };
  EXPECT_EQ(reasonAgainst(create, *table), failed + "no memory on chip");
  making = []() -> Vek::Ptr<OrviaAsicUtils::SwTableUtil> { throw 7; };
  EXPECT_EQ(reasonAgainst(create, *table), failed + "it threw something that is no std::exception");
  making = []() -> Vek::Ptr<OrviaAsicUtils::SwTableUtil> { return {}; };
  EXPECT_EQ(reasonAgainst(create, *table), failed + "it made none");
}

TEST(Loading, ATableThatNobodyLoadsPluginsForIsNamed) {
  Vek::Ptr<OtherTable> const table = new OtherTable;
  try {
    static_cast<void>(pluginUtilOf(*table));
    FAIL() << "a utility for a table of no library";
  } catch (TableSourceError const& error) {
    EXPECT_EQ(std::string(error.what()),
              std::string(table->fwkType().name()) + " has no utility: no plug-ins were asked for");
  }
}

}  // namespace
}  // namespace OrviaL3Agent
