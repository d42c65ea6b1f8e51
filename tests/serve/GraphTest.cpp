// The dependency graph, and its picture by Graphviz.
#include <gmock/gmock.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <regex>
#include <set>

#include "agent/control/Svg.h"
#include "tests/serve/InsightFixture.h"

namespace OrviaL3Agent {
namespace {

using namespace Testing;
using SoftAsic::TableId;
using ::testing::HasSubstr;
using ::testing::Not;

constexpr char const* kGood = "#c8e6c9";
constexpr char const* kRefused = "#ef9a9a";
constexpr char const* kWaits = "#bbdefb";

class GraphTest : public InsightFixture {
 protected:
  std::string graph() { return ask({"dot"}).text(); }
  // The line of the node with that label's first line.
  static std::string node(std::string const& graph, std::string const& label) {
    std::size_t const at = graph.find("[label=\"" + label);
    if (at == std::string::npos) return "no node " + label;
    std::size_t const begin = graph.rfind('\n', at) + 1;
    return graph.substr(begin, graph.find('\n', at) - begin);
  }
  static std::size_t nodes(std::string const& graph) {
    std::size_t count = 0;
    for (std::size_t at = 0; (at = graph.find("fillcolor=\"", at)) != std::string::npos; ++at) {
      ++count;
    }
    return count - 7;  // of the legend
  }
  // So many groups of two next hops each, all over two interfaces.
  static Bytes groups(std::uint32_t count) {
    Bytes stream;
    for (std::uint32_t i = 0; i <= count; ++i) {
      stream += announce(1000 + i, 2 + i % 2, ("10.1.0." + std::to_string(i + 1)).c_str());
    }
    for (std::uint32_t i = 0; i < count; ++i) {
      stream += announceGroup(100 + i, {{1000 + i, 0}, {1001 + i, 0}}) + routeTo(100 + i);
    }
    return stream;
  }

  Bytes const two = announce(1, 2, "10.0.1.2") + announce(2, 3, "10.0.2.2");
};

TEST_F(GraphTest, HasANodeForEachGroupBlockNextHopAndInterface) {
  feed(two + announceGroup(100, {{1, 1}, {2, 0}}) + routeTo(100) + routeTo(1));
  std::string const text = graph();
  EXPECT_THAT(node(text, "group 1"), HasSubstr(R"(row 1\n1 route", fillcolor="#c8e6c9"])"));
  EXPECT_THAT(node(text, "block 0"), HasSubstr("3 rows"));
  EXPECT_THAT(text, HasSubstr(R"("group_1" -> "block_0";)"));
  EXPECT_THAT(text, HasSubstr(R"("block_0" -> "ecmp 10.0.1.2@2" [label="2 x"];)"));
  EXPECT_THAT(text, HasSubstr(R"("block_0" -> "ecmp 10.0.2.2@3";)"));
  EXPECT_THAT(text, HasSubstr(R"("ecmp 10.0.1.2@2" -> "interface_2";)"));
  EXPECT_THAT(text, HasSubstr(R"("ingress 10.0.1.2@2" -> "interface_2";)"));
  EXPECT_THAT(node(text, "interface 3"), HasSubstr(kGood));
  EXPECT_EQ(nodes(text), 7U);  // a group, a block, three next hops, two interfaces
}

TEST_F(GraphTest, ColoursByStateAndSaysWhatColoursMean) {
  fault(TableId::ecmpNextHops).refusedRows = {2};
  feed(two + announceGroup(100, {{1, 0}, {2, 0}}) + routeTo(100) + routeTo(77));
  agent().mapping().interfaceIs(2, false);
  settle();
  agent().mapping().interfaceIs(2, true);
  settle();
  std::string const text = graph();
  EXPECT_THAT(node(text, "group 1"), HasSubstr(kWaits));
  EXPECT_THAT(node(text, "nexthop 10.0.2.2@3"), HasSubstr(kRefused));
  EXPECT_THAT(node(text, "refused"), HasSubstr(kRefused));
  // A root cause that is no node otherwise.
  EXPECT_THAT(node(text, R"(id 77\nnot-announced)"), HasSubstr("holds up 1 route,"));
}

TEST_F(GraphTest, IsSummarisedBeyondFiftyGroups) {
  options.rows = 512;
  fault(TableId::ecmpNextHops).refusedRows = {3};
  feed(groups(50));
  EXPECT_THAT(graph(), HasSubstr("\"group_50\""));
  end();
  feed(groups(51));
  std::string const text = graph();
  EXPECT_THAT(text, Not(HasSubstr("\"group_")));
  EXPECT_THAT(node(text, "51 groups"), HasSubstr("fillcolor=white"));
  EXPECT_THAT(node(text, R"(49 groups\nprogrammed)"), HasSubstr(kGood));
  EXPECT_THAT(node(text, R"(2 groups\nwaits)"), HasSubstr(kWaits));
  EXPECT_THAT(node(text, R"(1 next hops of groups\nrefused)"), HasSubstr(kRefused));
  EXPECT_THAT(node(text, R"(nexthop 10.1.0.3@2\nrefused)"),
              HasSubstr("holds up 2 routes, 2 groups, 1 next hop"));
  EXPECT_LT(nodes(text), 20U);
}

TEST_F(GraphTest, CountsABlockThatGroupsShareOnce) {
  options.rows = 512;
  feed(groups(51));
  EXPECT_THAT(graph(), HasSubstr("51 blocks of groups"));
  // Every second next hop goes. What the groups on both sides of it have left is the same.
  agent().mapping().interfaceIs(3, false);
  settle();
  std::string const text = graph();
  EXPECT_THAT(node(text, R"(26 blocks of groups\nprogrammed)"), HasSubstr(kGood));
  EXPECT_THAT(node(text, "51 groups"), HasSubstr("fillcolor=white"));
}

// What `dot` makes of it, in a file.
int drawn(std::string const& graph, std::string const& file) {
  std::fflush(stdout);
  pid_t const child = ::fork();
  if (child == 0) {
    if (std::freopen(file.c_str(), "w", stdout) == nullptr) ::_exit(99);
    int const code = Control::printSvg(graph);
    std::fflush(stdout);
    ::_exit(code);
  }
  int status = 0;
  ::waitpid(child, &status, 0);
  return WEXITSTATUS(status);
}

TEST_F(GraphTest, IsAPictureByGraphviz) {
  if (std::system("dot -V 2>/dev/null") != 0) GTEST_SKIP() << "there is no dot here";
  feed(two + announceGroup(100, {{1, 0}, {2, 0}}) + routeTo(100));
  TemporaryFile const file;
  ASSERT_EQ(drawn(graph(), file.path()), 0);
  std::string const svg = contentOf(file.path());
  EXPECT_THAT(svg, HasSubstr("<svg"));
  EXPECT_THAT(svg, HasSubstr(">group 1<"));
  EXPECT_THAT(svg, HasSubstr("</svg>"));
  // What is no graph is no picture.
  EXPECT_EQ(drawn("digraph {", file.path()), 1);
}

TEST_F(GraphTest, SaysWhichPackageIsMissingForAPicture) {
  std::string const path = std::getenv("PATH");
  ::setenv("PATH", "/nonexistent", 1);
  ::testing::internal::CaptureStderr();
  int const code = Control::printSvg("digraph {}");
  std::string const error = ::testing::internal::GetCapturedStderr();
  ::setenv("PATH", path.c_str(), 1);
  EXPECT_EQ(code, 1);
  EXPECT_THAT(error, HasSubstr("install the package graphviz"));
}

}  // namespace
}  // namespace OrviaL3Agent
