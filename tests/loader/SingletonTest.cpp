// Loader singletons: made once, and the directory of each loaded once, whoever asks first.
#include <gtest/gtest.h>

#include "LoaderSupport.h"
#include "Plugin/LoadRecord.h"
#include "Vek/Exception.h"

namespace {

using Loader::pathSet;
using Loader::Singleton;
using LoaderTests::Lines;
using LoaderTests::RootTree;
using LoaderTests::TestLoader;

TEST(LoaderSingletonTest, LoadersAreEntitiesOfATypeOfTheirOwn) {
  EXPECT_STREQ(Singleton::classType().name(), "Loader::Singleton");
  EXPECT_TRUE(Singleton::classType().isA(Vek::Entity::classType()));
}

struct Ordinary {
  static constexpr char const* name = "SingletonTest::Ordinary";
  static Vek::String subdir() { return "Test::Ordinary"; }
};

TEST(LoaderSingletonTest, IsMadeOnceAndLoadsItsDirectoryOnce) {
  RootTree const tree;
  std::string const path = "OrviaFeaturePlugin/Test::Ordinary";
  tree.add(path, "10-silent.so");
  EXPECT_FALSE(Vek::Entity::singletonExists("SingletonTest::Ordinary"));
  EXPECT_FALSE(pathSet().contains(path));

  Vek::Ptr<TestLoader<Ordinary> const> const loader = Singleton::inst<TestLoader<Ordinary>>();
  EXPECT_EQ(loader->name(), "SingletonTest::Ordinary");
  EXPECT_EQ(loader->path(), path);
  EXPECT_EQ(Vek::Entity::singletonExists("SingletonTest::Ordinary"), loader);
  EXPECT_TRUE(pathSet().contains(path));

  tree.add(path, "20-silent.so");
  EXPECT_EQ((Singleton::inst<TestLoader<Ordinary>>()), loader);
  EXPECT_EQ(tree.told(), (Lines{"10-silent.so for SingletonTest::Ordinary in " + path}));
}

struct Missing {
  static constexpr char const* name = "SingletonTest::Missing";
  static Vek::String subdir() { return "Test::Missing"; }
};

TEST(LoaderSingletonTest, AMissingDirectoryIsHarmlessAndNotLookedForAgain) {
  RootTree const tree;
  auto const loader = Singleton::inst<TestLoader<Missing>>();
  EXPECT_TRUE(loader);
  EXPECT_TRUE(pathSet().contains(loader->path()));
  EXPECT_FALSE(Plugin::loadRecord(loader->path()).directoryFound);
  tree.add(loader->path(), "10-silent.so");
  Singleton::inst<TestLoader<Missing>>();
  EXPECT_TRUE(tree.told().empty());
}

struct SharingFirst {
  static constexpr char const* name = "SingletonTest::SharingFirst";
  static Vek::String subdir() { return "Test::Shared"; }
};
struct SharingSecond {
  static constexpr char const* name = "SingletonTest::SharingSecond";
  static Vek::String subdir() { return "Test::Shared"; }
};

TEST(LoaderSingletonTest, TwoLoadersOfOnePathLoadItOnce) {
  RootTree const tree;
  tree.add("OrviaFeaturePlugin/Test::Shared", "10-silent.so");
  auto const first = Singleton::inst<TestLoader<SharingFirst>>();
  tree.add("OrviaFeaturePlugin/Test::Shared", "20-silent.so");
  auto const second = Singleton::inst<TestLoader<SharingSecond>>();
  EXPECT_EQ(first->path(), second->path());
  EXPECT_NE(static_cast<Singleton const*>(first.get()),
            static_cast<Singleton const*>(second.get()));
  EXPECT_EQ(tree.told(),
            (Lines{"10-silent.so for SingletonTest::SharingFirst in " + first->path()}));
}

struct AskingTwice {
  static constexpr char const* name = "SingletonTest::AskingTwice";
  static Vek::String subdir() { return "AskedForByTwoLibraries"; }
};
struct Asking {
  static constexpr char const* name = "SingletonTest::Asking";
  static Vek::String subdir() { return "Test::Asking"; }
};

TEST(LoaderSingletonTest, TwoLibrariesThatAskForOnePathLoadItOnce) {
  RootTree const tree;
  std::string const path = "OrviaFeaturePlugin/AskedForByTwoLibraries";
  tree.add(path, "10-silent.so");
  // This plug-in has a loader of its own for the path.
  tree.add("OrviaFeaturePlugin/Test::Asking", "asks-for-shared.so");
  Singleton::inst<TestLoader<Asking>>();
  EXPECT_TRUE(pathSet().contains(path));
  Singleton::inst<TestLoader<AskingTwice>>();
  EXPECT_EQ(tree.told(), (Lines{"asks-for-shared.so for SingletonTest::Asking in "
                                "OrviaFeaturePlugin/Test::Asking",
                                "10-silent.so for Actor::OwnLoader in " + path}));
  EXPECT_EQ(Plugin::loadRecord(path).loader, "Actor::OwnLoader");
}

struct WithoutSubdir {
  static constexpr char const* name = "SingletonTest::WithoutSubdir";
  static Vek::String subdir() { return ""; }
};

TEST(LoaderSingletonTest, AnEmptySubdirMeansTheUpperDirectoryWithoutASlash) {
  RootTree const tree;
  std::string const plugin = tree.add("OrviaFeaturePlugin", "10-silent.so");
  tree.add("OrviaFeaturePlugin/Test::Below", "20-silent.so");
  auto const loader = Singleton::inst<TestLoader<WithoutSubdir>>();
  EXPECT_EQ(loader->path(), "OrviaFeaturePlugin");
  EXPECT_TRUE(pathSet().contains("OrviaFeaturePlugin"));
  EXPECT_FALSE(pathSet().contains("OrviaFeaturePlugin/"));
  EXPECT_EQ(Plugin::loadRecord("OrviaFeaturePlugin").files, (Lines{plugin}));
  EXPECT_EQ(tree.told(), (Lines{"10-silent.so for SingletonTest::WithoutSubdir in "
                                "OrviaFeaturePlugin"}));
}

int makings = 0;
struct MadeElsewhere {
  static constexpr char const* name = "SingletonTest::MadeElsewhere";
  static Vek::String subdir() { return "Test::MadeElsewhere"; }
  static void making() { ++makings; }
};

TEST(LoaderSingletonTest, AnEntityThatSomebodyElseMadeIsTakenAndNotReplaced) {
  RootTree const tree;
  using L = TestLoader<MadeElsewhere>;
  tree.add("OrviaFeaturePlugin/Test::MadeElsewhere", "10-silent.so");
  Vek::Ptr<Vek::Entity> const made = Vek::Entity::singletonIs(L::classType(), MadeElsewhere::name);
  EXPECT_EQ(Singleton::inst<L>(), made);
  EXPECT_EQ(makings, 1);
  EXPECT_EQ(tree.told().size(), 1U);  // its plug-ins were still to be loaded
}

struct Confused {
  static constexpr char const* name = "SingletonTest::Confused";
  static Vek::String subdir() { return "Test::Confused"; }
};

TEST(LoaderSingletonTest, AnEntityOfAnotherTypeUnderTheNameIsRefused) {
  RootTree const tree;
  Vek::Entity::singletonIs(TestLoader<Ordinary>::classType(), Confused::name);
  try {
    Singleton::inst<TestLoader<Confused>>();
    ADD_FAILURE() << "it was taken for what it is not";
  } catch (Vek::Exception const& failure) {
    EXPECT_STREQ(failure.what(),
                 "the singleton SingletonTest::Confused is of another type: "
                 "SingletonTest::Ordinary");
  }
  EXPECT_FALSE(pathSet().contains("OrviaFeaturePlugin/Test::Confused"));
}

// --- Exceptions: the step that failed is done again by the next call.

struct Unmakable {
  static constexpr char const* name = "SingletonTest::Unmakable";
  static Vek::String subdir() { return "Test::Unmakable"; }
  static void making() {
    ++tries;
    if (refuse) throw Vek::Exception("not yet");
  }
  static inline bool refuse = true;
  static inline int tries = 0;
};

TEST(LoaderSingletonRetryTest, TheSingletonIsMadeByTheNextCallWhenMakingItThrew) {
  RootTree const tree;
  using L = TestLoader<Unmakable>;
  tree.add("OrviaFeaturePlugin/Test::Unmakable", "10-silent.so");
  EXPECT_THROW(Singleton::inst<L>(), Vek::Exception);
  EXPECT_THROW(Singleton::inst<L>(), Vek::Exception);
  EXPECT_EQ(Unmakable::tries, 2);
  EXPECT_TRUE(tree.told().empty());
  EXPECT_FALSE(pathSet().contains("OrviaFeaturePlugin/Test::Unmakable"));

  Unmakable::refuse = false;
  auto const loader = Singleton::inst<L>();
  EXPECT_TRUE(loader);
  EXPECT_EQ(Singleton::inst<L>(), loader);
  EXPECT_EQ(Unmakable::tries, 3);
  EXPECT_EQ(tree.told().size(), 1U);
}

struct Homeless {
  static constexpr char const* name = "SingletonTest::Homeless";
  static Vek::String subdir() {
    if (!home) throw Vek::Exception("no directory yet");
    return "Test::Homeless";
  }
  static inline bool home = false;
};

TEST(LoaderSingletonRetryTest, TheSingletonStaysWhenItsDirectoryCouldNotBeNamed) {
  RootTree const tree;
  using L = TestLoader<Homeless>;
  tree.add("OrviaFeaturePlugin/Test::Homeless", "10-silent.so");
  EXPECT_THROW(Singleton::inst<L>(), Vek::Exception);
  Vek::Ptr<Vek::Entity> const made = Vek::Entity::singletonExists(Homeless::name);
  EXPECT_TRUE(made);
  Homeless::home = true;
  EXPECT_EQ(Singleton::inst<L>(), made);
  EXPECT_EQ(tree.told().size(), 1U);
}

struct Unloadable {
  static constexpr char const* name = "SingletonTest::Unloadable";
  static Vek::String subdir() { return "Test::Unloadable"; }
};

TEST(LoaderSingletonRetryTest, ThePathIsEnteredOnlyAfterThePluginsWereLoaded) {
  RootTree const tree;
  using L = TestLoader<Unloadable>;
  std::string const path = "OrviaFeaturePlugin/Test::Unloadable";
  tree.add(path, "10-silent.so");
  // A relative root means nothing while the working directory does not exist.
  std::filesystem::path const before = std::filesystem::current_path();
  std::filesystem::create_directory(tree.directory("gone"));
  std::filesystem::current_path(tree.directory("gone"));
  std::filesystem::remove(tree.directory("gone"));
  Plugin::pluginRootIs("plug-ins");
  EXPECT_THROW(Singleton::inst<L>(), std::filesystem::filesystem_error);
  EXPECT_FALSE(pathSet().contains(path));
  EXPECT_THROW(Singleton::inst<L>(), std::filesystem::filesystem_error);
  std::filesystem::current_path(before);

  Plugin::pluginRootIs(tree.root());
  EXPECT_TRUE(Singleton::inst<L>());
  EXPECT_TRUE(pathSet().contains(path));
  EXPECT_EQ(tree.told().size(), 1U);
}

struct Watched {
  static constexpr char const* name = "SingletonTest::Watched";
  static Vek::String subdir() { return "Test::Watched"; }
};

TEST(LoaderSingletonRetryTest, ThePathIsNotKnownYetWhileItsPluginsAreLoaded) {
  RootTree const tree;
  tree.add("OrviaFeaturePlugin/Test::Watched", "asks-again.so");
  auto const loader = Singleton::inst<TestLoader<Watched>>();
  EXPECT_EQ(tree.told(), (Lines{"asks-again.so for SingletonTest::Watched in " + loader->path(),
                                "path known: 0"}));
  EXPECT_TRUE(pathSet().contains(loader->path()));
}

// --- The second text of the plug-in loader.

TEST(PluginLoaderTest, HasItsNameAndNoFileUntilOneIsGiven) {
  Plugin::Loader loader("Test::Loader");
  EXPECT_EQ(loader.name(), "Test::Loader");
  EXPECT_EQ(loader.file(), "");
  loader.fileIs("one.so");
  EXPECT_EQ(loader.file(), "one.so");
}

}  // namespace
