// Opening the plug-ins of a directory: which, in what order, and what becomes of those that fail.
#include <gtest/gtest.h>

#include "LoaderSupport.h"
#include "OrviaAsicUtils/UtilFactory.h"
#include "Plugin/Impl/LoaderImpl.h"
#include "Plugin/LoadRecord.h"

namespace {

using LoaderTests::Lines;
using LoaderTests::PluginTree;
using LoaderTests::RootTree;
using Plugin::LoadRecord;
using Plugin::loadRecord;

// Everything of one directory, under the root in force.
LoadRecord load(std::string const& path) {
  Plugin::Impl::LoaderImpl::loadPlugins("Test::Loader", path, "", "", "");
  return loadRecord(path);
}

// The reason that is recorded for the only plug-in of a directory of its own.
std::string reasonFor(std::string const& file, std::string const& module = "actor.so") {
  RootTree const tree;
  std::string const plugin = tree.add(file, file, module);
  LoadRecord const record = load(file);
  EXPECT_EQ(record.files, Lines());
  if (record.failures.size() != 1) return std::to_string(record.failures.size()) + " failures";
  EXPECT_EQ(record.failures[0].file, plugin);
  return record.failures[0].reason;
}

TEST(LoadPluginsTest, NothingIsRecordedForAPathThatNobodyAskedFor) {
  LoadRecord const record = loadRecord("NeverAskedFor");
  EXPECT_EQ(record.loader, "");
  EXPECT_EQ(record.directory, "");
  EXPECT_FALSE(record.directoryFound);
  EXPECT_EQ(record.text(), "no plug-ins were asked for");
  EXPECT_TRUE(Plugin::failures("NeverAskedFor").empty());
}

TEST(LoadPluginsTest, AMissingDirectoryIsHarmless) {
  RootTree const tree;
  LoadRecord const record = load("Missing/Of::Table");
  EXPECT_EQ(record.loader, "Test::Loader");
  EXPECT_EQ(record.directory, tree.directory("Missing/Of::Table"));
  EXPECT_FALSE(record.directoryFound);
  EXPECT_TRUE(record.files.empty());
  EXPECT_TRUE(record.failures.empty());
  EXPECT_EQ(record.text(),
            "looked in " + tree.directory("Missing/Of::Table") + ": no such directory");
}

TEST(LoadPluginsTest, AnEmptyDirectoryIsHarmless) {
  RootTree const tree;
  tree.write("Empty", "README", "nothing for this table yet\n");
  LoadRecord const record = load("Empty");
  EXPECT_TRUE(record.directoryFound);
  EXPECT_TRUE(record.failures.empty());
  EXPECT_EQ(record.text(), "looked in " + tree.directory("Empty") + ": no plug-in there");
}

TEST(LoadPluginsTest, OpensTheFilesInTheOrderOfTheirNames) {
  RootTree const tree;
  std::string const third = tree.add("Order", "30-silent.so");
  std::string const first = tree.add("Order", "10-silent.so");
  std::string const second = tree.add("Order", "2-silent.so");
  EXPECT_EQ(load("Order").files, (Lines{first, second, third}));
  EXPECT_EQ(tree.told(), (Lines{"10-silent.so for Test::Loader in Order",
                                "2-silent.so for Test::Loader in Order",
                                "30-silent.so for Test::Loader in Order"}));
}

TEST(LoadPluginsTest, TakesSharedObjectsOnly) {
  RootTree const tree;
  std::string const plugin = tree.add("Kinds", "10-silent.so");
  tree.add("Kinds", "20-silent.so.bak");
  tree.add("Kinds", "30-silent.txt");
  LoadRecord const record = load("Kinds");
  EXPECT_EQ(record.files, (Lines{plugin}));
  EXPECT_TRUE(record.failures.empty());
}

TEST(LoadPluginsTest, TheDirectoryMayCarryColons) {
  RootTree const tree;
  std::string const path = "OrviaFeaturePlugin/Some::Table";
  std::string const plugin = tree.add(path, "10-silent.so");
  EXPECT_EQ(load(path).files, (Lines{plugin}));
}

TEST(LoadPluginsTest, EachFileIsTriedOnce) {
  RootTree const tree;
  tree.add("Once", "10-silent.so");
  tree.add("Once", "20-fails.so");
  load("Once");
  LoadRecord const record = load("Once");
  EXPECT_EQ(record.files.size(), 1U);
  EXPECT_EQ(record.failures.size(), 1U);
  EXPECT_EQ(tree.told().size(), 2U);
}

TEST(LoadPluginsTest, AFileThatCameLaterIsLoadedByTheNextCall) {
  RootTree const tree;
  tree.add("Later", "20-silent.so");
  load("Later");
  tree.add("Later", "10-silent.so");
  EXPECT_EQ(load("Later").files,
            (Lines{tree.directory("Later/20-silent.so"), tree.directory("Later/10-silent.so")}));
}

TEST(LoadPluginsTest, APluginMayAskForItsOwnDirectory) {
  RootTree const tree;
  tree.add("Again", "10-asks-again.so");
  tree.add("Again", "20-silent.so");
  LoadRecord const record = load("Again");
  EXPECT_EQ(record.files.size(), 2U);
  EXPECT_TRUE(record.failures.empty());
  EXPECT_EQ(tree.told(), (Lines{"10-asks-again.so for Test::Loader in Again", "path known: 0",
                                "20-silent.so for Test::Loader in Again"}));
}

TEST(LoadPluginsTest, OneFileCanBeAskedFor) {
  RootTree const tree;
  tree.add("OneFile", "10-silent.so");
  std::string const wanted = tree.add("OneFile", "20-silent.so");
  Plugin::Impl::LoaderImpl::loadPlugins("Test::Loader", "OneFile", "20-silent.so", "", "");
  EXPECT_EQ(loadRecord("OneFile").files, (Lines{wanted}));
}

TEST(LoadPluginsTest, ARootAndAnEntryFunctionCanBeGivenForOneCall) {
  PluginTree const tree;
  std::string const plugin = tree.add("Given", "10-silent.so");
  Plugin::Impl::LoaderImpl::loadPlugins("Test::Loader", "Given", "", tree.root(), "anotherEntry");
  LoadRecord const record = loadRecord("Given");
  EXPECT_EQ(record.directory, tree.directory("Given"));
  ASSERT_EQ(record.failures.size(), 1U);
  EXPECT_EQ(record.failures[0],
            (Plugin::LoadFailure{plugin, "has no entry function anotherEntry"}));
}

// --- Failures.

TEST(LoadPluginsFailureTest, AFileThatIsNoSharedObject) {
  RootTree const tree;
  std::string const broken = tree.write("Broken", "10-broken.so", "this is no program\n");
  LoadRecord const record = load("Broken");
  ASSERT_EQ(record.failures.size(), 1U);
  EXPECT_EQ(record.failures[0].file, broken);
  EXPECT_EQ(record.failures[0].reason.rfind("cannot be opened: " + broken + ": ", 0), 0U)
      << record.failures[0].reason;
  EXPECT_EQ(record.text(), "looked in " + tree.directory("Broken") + "\n" + broken + ": " +
                               record.failures[0].reason);
}

TEST(LoadPluginsFailureTest, AFileWithoutEntryFunction) {
  // An object that it depends on has one; that one is not the plug-in's.
  EXPECT_EQ(reasonFor("entryless.so", "entryless.so"), "has no entry function orviaPluginInit");
}

TEST(LoadPluginsFailureTest, AnEntryFunctionThatThrows) {
  EXPECT_EQ(reasonFor("throws.so"), "orviaPluginInit threw: no such hardware");
}

TEST(LoadPluginsFailureTest, AnEntryFunctionThatThrowsSomethingElse) {
  EXPECT_EQ(reasonFor("throws-number.so"),
            "orviaPluginInit threw something that is no std::exception");
}

TEST(LoadPluginsFailureTest, AnEntryFunctionThatFails) {
  EXPECT_EQ(reasonFor("fails.so"), "orviaPluginInit returned 3");
}

TEST(LoadPluginsFailureTest, NothingOfAPluginThatFailedTakesEffect) {
  EXPECT_EQ(reasonFor("announces-and-throws.so"), "orviaPluginInit threw: too late");
  EXPECT_EQ(OrviaAsicUtils::utilFactory("Test::Abandoned"), nullptr);
}

TEST(LoadPluginsFailureTest, TheOthersAreLoadedNevertheless) {
  RootTree const tree;
  tree.write("Mixed", "10-broken.so", "");
  tree.add("Mixed", "20-throws.so");
  std::string const good = tree.add("Mixed", "30-silent.so");
  tree.add("Mixed", "40-entryless.so", "entryless.so");
  std::string const last = tree.add("Mixed", "50-silent.so");
  LoadRecord const record = load("Mixed");
  EXPECT_EQ(record.files, (Lines{good, last}));
  ASSERT_EQ(record.failures.size(), 3U);
  EXPECT_EQ(record.failures[0].file, tree.directory("Mixed/10-broken.so"));
  EXPECT_EQ(record.failures[1].file, tree.directory("Mixed/20-throws.so"));
  EXPECT_EQ(record.failures[2].file, tree.directory("Mixed/40-entryless.so"));
  EXPECT_EQ(Plugin::failures("Mixed"), record.failures);
}

TEST(LoadPluginsFailureTest, ADirectoryThatIsNone) {
  RootTree const tree;
  std::string const file = tree.write("Upper", "AFile", "");
  LoadRecord const record = load("Upper/AFile");
  EXPECT_TRUE(record.directoryFound);
  EXPECT_EQ(record.failures, (std::vector<Plugin::LoadFailure>{{file, "Not a directory"}}));
}

// --- What plug-ins announce.

TEST(UtilFactoryTest, ATableOfNobodyHasNoFactory) {
  EXPECT_EQ(OrviaAsicUtils::utilFactory("Test::NoSuchTable"), nullptr);
}

TEST(UtilFactoryTest, TheFirstByFileNameMakesTheUtilityAndTheOtherIsRecorded) {
  RootTree const tree;
  std::string const second = tree.add("Wanted", "20-announces.so");
  std::string const first = tree.add("Wanted", "10-announces.so");
  LoadRecord const record = load("Wanted");
  OrviaAsicUtils::UtilFactory const* const factory = OrviaAsicUtils::utilFactory("Test::Wanted");
  ASSERT_NE(factory, nullptr);
  EXPECT_EQ(factory->table, "Test::Wanted");
  EXPECT_EQ(factory->origin, first);
  EXPECT_NE(factory->create, nullptr);
  EXPECT_EQ(record.files, (Lines{first, second}));
  EXPECT_EQ(record.failures,
            (std::vector<Plugin::LoadFailure>{
                {second, "announced Test::Wanted, which already has the utility of " + first}}));
  EXPECT_EQ(record.announcements,
            (std::vector<Plugin::LoadAnnouncement>{{first, {"Test::Wanted"}}, {second, {}}}));
  // What came too late is told once, with the reason.
  EXPECT_EQ(record.text(), "looked in " + tree.directory("Wanted") + "\n" + first +
                               ": announced Test::Wanted\n" + second + ": " +
                               record.failures[0].reason);
}

TEST(UtilFactoryTest, OneFileThatIsLinkedIntoSeveralDirectoriesIsNoRivalOfItself) {
  RootTree const tree;
  std::string const file = tree.add("Linked", "announces-linked.so");
  std::filesystem::create_directory(tree.directory("LinkedToo"));
  std::filesystem::create_symlink(file, tree.directory("LinkedToo/announces-linked.so"));
  EXPECT_TRUE(load("Linked").failures.empty());
  LoadRecord const again = load("LinkedToo");
  EXPECT_EQ(again.files, (Lines{tree.directory("LinkedToo/announces-linked.so")}));
  EXPECT_TRUE(again.failures.empty());
  EXPECT_EQ(again.text(), "looked in " + tree.directory("LinkedToo") + "\n" + again.files[0] +
                              ": announced Test::Linked");
  ASSERT_NE(OrviaAsicUtils::utilFactory("Test::Linked"), nullptr);
  EXPECT_EQ(OrviaAsicUtils::utilFactory("Test::Linked")->origin, file);
}

TEST(UtilFactoryTest, AnAnnouncementWithoutTableOrFunctionIsRecordedAndTheRestCounts) {
  RootTree const tree;
  std::string const plugin = tree.add("Nonsense", "announces-nonsense.so");
  LoadRecord const record = load("Nonsense");
  EXPECT_EQ(record.failures,
            (std::vector<Plugin::LoadFailure>{
                {plugin, "announced a utility without a table"},
                {plugin, "announced a utility without a function for Test::WithoutFunction"}}));
  EXPECT_EQ(OrviaAsicUtils::utilFactory("Test::WithoutFunction"), nullptr);
  EXPECT_NE(OrviaAsicUtils::utilFactory("Test::AfterNonsense"), nullptr);
}

// No failure, since a plug-in may bring utilities of other tables, but the reason why this one has
// none.
TEST(UtilFactoryTest, AFileThatAnnouncesAnotherTableThanTheDirectorysSaysSoInTheText) {
  RootTree const tree;
  std::string const path = "OrviaFeaturePlugin/Test::Spelt";
  std::string const misspelt = tree.add(path, "10-announces-misspelt.so");
  std::string const silent = tree.add(path, "20-silent.so");
  std::string const broken = tree.write(path, "30-broken.so", "");
  std::string const none = tree.add(path, "40-entryless.so", "entryless.so");
  LoadRecord const record = load(path);
  EXPECT_EQ(record.announcements,
            (std::vector<Plugin::LoadAnnouncement>{{misspelt, {"Test::Misspelt"}}, {silent, {}}}));
  ASSERT_EQ(record.failures.size(), 2U);
  EXPECT_EQ(record.text(), "looked in " + tree.directory(path) + "\n" + misspelt +
                               ": announced Test::Misspelt, no utility for this table\n" + silent +
                               ": announced nothing\n" + broken + ": " + record.failures[0].reason +
                               "\n" + none + ": " + record.failures[1].reason);
}

TEST(UtilFactoryTest, AFileThatAnnouncesTheDirectorysTableAmongOthersIsNotPointedOut) {
  RootTree const tree;
  std::string const own = tree.add("OrviaFeaturePlugin/Test::Second", "10-announces-two.so");
  EXPECT_EQ(load("OrviaFeaturePlugin/Test::Second").text(),
            "looked in " + tree.directory("OrviaFeaturePlugin/Test::Second") + "\n" + own +
                ": announced Test::First, Test::Second");
  // A file that is there once more is too late with all that it has.
  std::string const copy = tree.add("OrviaFeaturePlugin/Test::Third", "10-announces-two.so");
  EXPECT_EQ(load("OrviaFeaturePlugin/Test::Third").text(),
            "looked in " + tree.directory("OrviaFeaturePlugin/Test::Third") + "\n" + copy +
                ": announced Test::First, which already has the utility of " + own + "\n" + copy +
                ": announced Test::Second, which already has the utility of " + own);
}

TEST(UtilFactoryTest, AProgramMayBringItsOwn) {
  auto const make = [](OrviaAsicUtils::SwTable&) {
    return Vek::Ptr<OrviaAsicUtils::SwTableUtil>();
  };
  EXPECT_TRUE(OrviaAsicUtils::utilFactoryIs({"Test::Own", make, "the test"}));
  EXPECT_FALSE(OrviaAsicUtils::utilFactoryIs({"Test::Own", make, "somebody else"}));
  ASSERT_NE(OrviaAsicUtils::utilFactory("Test::Own"), nullptr);
  EXPECT_EQ(OrviaAsicUtils::utilFactory("Test::Own")->origin, "the test");
}

// --- Where plug-ins are looked for.

class PluginRootTest : public ::testing::Test {
 protected:
  ~PluginRootTest() override {
    unsetenv("ORVIA_PLUGIN_ROOT");
    Plugin::pluginRootIs("");
  }

  static std::string ownDirectory() {
    return std::filesystem::read_symlink("/proc/self/exe").parent_path().string();
  }
  static std::string libraryDirectory() {
    return std::filesystem::canonical(LOADER_TEST_LIBRARY).parent_path().string();
  }
  static std::string canonical(std::string const& directory) {
    return std::filesystem::canonical(directory).string();
  }
};

TEST_F(PluginRootTest, TheAgentsRootComesFirst) {
  setenv("ORVIA_PLUGIN_ROOT", "/from/environment", 1);
  Plugin::pluginRootIs("/from/agent");
  EXPECT_EQ(Plugin::pluginRoot(), "/from/agent");
}

TEST_F(PluginRootTest, ThenTheEnvironmentVariable) {
  setenv("ORVIA_PLUGIN_ROOT", "/from/environment", 1);
  EXPECT_EQ(Plugin::pluginRoot(), "/from/environment");
  EXPECT_EQ(Plugin::pluginRoot(Vek::Entity::classType().info()), "/from/environment");
}

TEST_F(PluginRootTest, ThenTheDirectoryOfTheSharedObjectThatAsks) {
  setenv("ORVIA_PLUGIN_ROOT", "", 1);  // as good as unset
  EXPECT_EQ(canonical(Plugin::pluginRoot()), libraryDirectory());
  EXPECT_EQ(canonical(Plugin::pluginRoot(Vek::Entity::classType().info())), libraryDirectory());
  static int const ofThisProgram = 1;
  EXPECT_EQ(Plugin::pluginRoot(&ofThisProgram), ownDirectory());
}

TEST_F(PluginRootTest, ARelativeRootIsMadeAbsolute) {
  Plugin::pluginRootIs("plug-ins");
  EXPECT_EQ(Plugin::pluginRoot(), (std::filesystem::current_path() / "plug-ins").string());
}

TEST_F(PluginRootTest, ALoaderThatIsNoSingletonLooksBesideThePlatform) {
  Plugin::Impl::LoaderImpl::loadPlugins("Nobody", "BesideNobody", "", "", "");
  EXPECT_EQ(canonical(std::filesystem::path(loadRecord("BesideNobody").directory).parent_path()),
            libraryDirectory());
}

struct InThisProgram {
  static constexpr char const* name = "LoadPluginsTest::InThisProgram";
  static Vek::String subdir() { return "InThisProgram"; }
};

TEST_F(PluginRootTest, ALoaderOfTheProgramLooksBesideTheProgram) {
  auto const loader = Loader::Singleton::inst<LoaderTests::TestLoader<InThisProgram>>();
  EXPECT_EQ(loadRecord(loader->path()).directory,
            ownDirectory() + "/OrviaFeaturePlugin/InThisProgram");
}

}  // namespace
