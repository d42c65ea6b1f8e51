// The picture of a replay, and what stands in its way.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "agent/Plot.h"

namespace OrviaL3Agent {
namespace {

namespace fs = std::filesystem;

class Plot : public ::testing::Test {
 protected:
  Plot() {
    std::string pattern = ::testing::TempDir() + "orvia-plot-test-XXXXXX";
    if (::mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("no temporary folder");
    folder_ = pattern;
    if (char const* path = ::getenv("PATH")) oldPath_ = path;
  }
  ~Plot() override {
    if (oldPath_) ::setenv("PATH", oldPath_->c_str(), 1);
    std::error_code ignored;
    fs::remove_all(folder_, ignored);
  }

  [[nodiscard]] std::string file(std::string const& name = "plot.svg") const {
    return (folder_ / name).string();
  }
  static std::string contentOf(std::string const& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
  }
  // The only gnuplot from here on is this shell script.
  void gnuplotIs(std::string const& script) {
    fs::create_directory(folder_ / "bin");
    std::ofstream(folder_ / "bin" / "gnuplot") << "#!/bin/sh\n" << script << "\n";
    fs::permissions(folder_ / "bin" / "gnuplot", fs::perms::owner_all);
    ::setenv("PATH", (folder_ / "bin").c_str(), 1);
  }
  [[nodiscard]] std::string complaint(Timeline const& timeline, std::string const& path) const {
    try {
      plot(timeline, "title", path);
    } catch (std::runtime_error const& e) {
      return e.what();
    }
    return "none";
  }
  static Timeline someTimeline(std::uint64_t samples = 100) {
    Timeline timeline;
    for (std::uint64_t i = 0; i < samples; ++i) timeline.add({i * 16, i * 9, i % 50, i * 40});
    return timeline;
  }

 private:
  fs::path folder_;
  std::optional<std::string> oldPath_;
};

std::size_t countOf(std::string const& text, std::string const& part) {
  std::size_t count = 0;
  for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
    ++count;
  }
  return count;
}

// Whether every element is closed in its order, and every ampersand begins an entity.
::testing::AssertionResult isWellFormed(std::string const& xml) {
  std::vector<std::string> open;
  for (std::size_t at = 0; (at = xml.find_first_of("<&", at)) != std::string::npos; ++at) {
    if (xml[at] == '&') {
      std::size_t const end = xml.find(';', at);
      if (end == std::string::npos || end - at > 8) {
        return ::testing::AssertionFailure() << "bare & at " << at;
      }
      continue;
    }
    if (xml.compare(at, 4, "<!--") == 0) {
      at = xml.find("-->", at);
      if (at == std::string::npos) return ::testing::AssertionFailure() << "endless comment";
      continue;
    }
    std::size_t end = at;
    for (char quote = 0; end < xml.size() && (quote != 0 || xml[end] != '>'); ++end) {
      if (quote != 0 ? xml[end] == quote : xml[end] == '"' || xml[end] == '\'') {
        quote = quote != 0 ? '\0' : xml[end];
      }
    }
    if (end >= xml.size()) return ::testing::AssertionFailure() << "endless tag at " << at;
    std::string const tag = xml.substr(at + 1, end - at - 1);
    if (tag[0] == '?' || tag[0] == '!' || tag.back() == '/') {
      at = end;
      continue;
    }
    std::string const name = tag.substr(0, tag.find_first_of(" \t\r\n"));
    if (name[0] != '/') {
      open.push_back(name);
    } else if (open.empty() || "/" + open.back() != name) {
      return ::testing::AssertionFailure() << "<" << name << "> closes nothing";
    } else {
      open.pop_back();
    }
    at = end;
  }
  if (!open.empty()) return ::testing::AssertionFailure() << "<" << open.back() << "> stays open";
  return ::testing::AssertionSuccess();
}

void expectPicture(std::string const& svg) {
  EXPECT_TRUE(svg.starts_with("<?xml"));
  EXPECT_TRUE(svg.ends_with("</svg>\n"));
  EXPECT_TRUE(isWellFormed(svg));
  EXPECT_NE(svg.find("<svg \n width=\"900\" height=\"500\""), std::string::npos);
  EXPECT_EQ(countOf(svg, ">entries programmed<"), 1U);
  EXPECT_EQ(countOf(svg, ">entries parked<"), 1U);
  EXPECT_EQ(countOf(svg, ">hardware calls<"), 2U);  // in the legend and at its axis
  EXPECT_EQ(countOf(svg, ">entries<"), 1U);
  EXPECT_EQ(countOf(svg, ">messages<"), 1U);
}

TEST_F(Plot, DrawsATimeline) {
  plot(someTimeline(), "a stream", file());
  std::string const svg = contentOf(file());
  expectPicture(svg);
  EXPECT_EQ(countOf(svg, ">a stream<"), 1U);
  EXPECT_EQ(countOf(svg, "no samples"), 0U);
}

TEST_F(Plot, DrawsALongTimeline) {
  plot(someTimeline(100000), "long", file());
  expectPicture(contentOf(file()));
}

TEST_F(Plot, DrawsAnEmptyTimelineAndSaysSo) {
  plot(Timeline(), "empty", file());
  expectPicture(contentOf(file()));
  EXPECT_EQ(countOf(contentOf(file()), ">no samples<"), 1U);
}

TEST_F(Plot, DrawsASingleSample) {
  plot(someTimeline(1), "nothing but zeros", file());
  expectPicture(contentOf(file()));
  Timeline one;
  one.add({7, 3, 1, 12});
  plot(one, "one", file("one.svg"));
  expectPicture(contentOf(file("one.svg")));
  EXPECT_NE(contentOf(file()), contentOf(file("one.svg")));
}

TEST_F(Plot, DrawsTheSameFromTheSame) {
  ::setenv("GNUTERM", "dumb", 1);
  plot(someTimeline(), "a stream", file("1.svg"));
  ::unsetenv("GNUTERM");
  plot(someTimeline(), "a stream", file("2.svg"));
  EXPECT_EQ(contentOf(file("1.svg")), contentOf(file("2.svg")));
  plot(someTimeline(99), "a stream", file("3.svg"));
  EXPECT_NE(contentOf(file("1.svg")), contentOf(file("3.svg")));
}

TEST_F(Plot, TakesATitleAsItStands) {
  plot(someTimeline(), "<it's> & \"`echo ran`\" \\n $samples _{x} é \xff\x01", file());
  std::string const svg = contentOf(file());
  expectPicture(svg);
  EXPECT_EQ(countOf(svg, "it's"), 1U);
  EXPECT_EQ(countOf(svg, "`echo ran`"), 1U);
  EXPECT_EQ(countOf(svg, "\\n $samples _{x} é ?\?<"), 1U);
}

TEST_F(Plot, TakesThePlaceOfAnOlderFile) {
  std::ofstream(file()) << std::string(1000000, 'x');
  plot(someTimeline(), "new", file());
  expectPicture(contentOf(file()));
}

TEST_F(Plot, ComplainsAboutAFileThatCannotBeWritten) {
  // Not even asked to draw.
  gnuplotIs("echo started > '" + file("started") + "'");
  std::string const lost = file("missing/plot.svg");
  EXPECT_EQ(complaint(someTimeline(), lost),
            "cannot write " + lost + ": No such file or directory");
  EXPECT_EQ(complaint(someTimeline(), file("bin")),
            "cannot write " + file("bin") + ": Is a directory");
  EXPECT_FALSE(fs::exists(file("started")));
}

TEST_F(Plot, ComplainsAboutAFullDeviceAndLeavesItWhereItIs) {
  EXPECT_EQ(complaint(someTimeline(), "/dev/full"),
            "cannot write /dev/full: No space left on device");
  EXPECT_TRUE(fs::exists("/dev/full"));
}

TEST_F(Plot, ComplainsWhenGnuplotIsNotInstalled) {
  fs::create_directory(file("none"));
  ::setenv("PATH", file("none").c_str(), 1);
  EXPECT_EQ(complaint(someTimeline(), file()),
            "gnuplot is not installed (Debian: apt-get install gnuplot-nox)");
  EXPECT_FALSE(fs::exists(file()));
}

TEST_F(Plot, PassesOnWhatGnuplotSaysWhenItFails) {
  gnuplotIs("echo 'out of ink' >&2; exit 3");
  // More than fits into any buffer on the way, to somebody who does not read it.
  EXPECT_EQ(complaint(someTimeline(4000), file()), "gnuplot failed: out of ink");
  EXPECT_FALSE(fs::exists(file()));
  gnuplotIs("exit 3");
  EXPECT_EQ(complaint(someTimeline(), file()), "gnuplot failed: it gave no reason");
  gnuplotIs("kill -9 $$");
  EXPECT_EQ(complaint(someTimeline(), file()), "gnuplot failed: it gave no reason");
}

TEST_F(Plot, TakesNoHalfPicture) {
  gnuplotIs("echo '<?xml version=\"1.0\"?><svg>'; echo 'a warning' >&2");
  EXPECT_EQ(complaint(someTimeline(), file()), "gnuplot gave no whole picture: a warning");
  EXPECT_FALSE(fs::exists(file()));
}

TEST_F(Plot, LeavesAnOlderPictureAloneWhenThereIsNoNewOne) {
  std::ofstream(file()) << "older";
  gnuplotIs("exit 1");
  EXPECT_NE(complaint(someTimeline(), file()), "none");
  EXPECT_EQ(contentOf(file()), "older");
}

}  // namespace
}  // namespace OrviaL3Agent
