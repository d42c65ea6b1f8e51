// The control socket: its file, who may speak, what is no request, and clients that do not behave.

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <fstream>

#include "agent/control/ControlClient.h"
#include "tests/serve/ControlFixture.h"

namespace OrviaL3Agent::Testing {
namespace {

using ::testing::HasSubstr;

class ControlServerTest : public ControlFixture {
 protected:
  static mode_t modeOf(std::string const& file) {
    struct stat status {};
    EXPECT_EQ(::lstat(file.c_str(), &status), 0) << file;
    return status.st_mode;
  }
  static bool exists(std::string const& file) {
    struct stat status {};
    return ::lstat(file.c_str(), &status) == 0;
  }
  // A socket file whose process is gone.
  void leaveDeadSocket() const {
    int const socket = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
    ASSERT_EQ(::bind(socket, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    ::close(socket);
    ASSERT_TRUE(exists(path));
  }
  std::string refusal() {
    try {
      start();
    } catch (std::runtime_error const& error) {
      return error.what();
    }
    return "it was made";
  }
  Answered answerTo(std::string const& line) {
    TestClient client(path);
    client.send(line);
    return answer(client);
  }
};

TEST_F(ControlServerTest, TheFileIsASocketForItsOwnerOnly) {
  mode_t const before = ::umask(0);
  start();
  mode_t const after = ::umask(before);
  EXPECT_EQ(modeOf(path), S_IFSOCK | 0600U);
  EXPECT_EQ(after, 0U) << "the process's own mask is not as it was";
}

TEST_F(ControlServerTest, TheFileGoesWithTheServer) {
  start();
  ASSERT_TRUE(exists(path));
  stop();
  EXPECT_FALSE(exists(path));
}

TEST_F(ControlServerTest, AFileThatSomebodyElsePutThereStays) {
  start();
  std::filesystem::remove(path);
  std::ofstream(path) << "somebody else's";
  stop();
  EXPECT_TRUE(exists(path));
}

TEST_F(ControlServerTest, ReplacesASocketThatNobodyListensAt) {
  leaveDeadSocket();
  start();
  EXPECT_EQ(ask({"verbs"}).exitCode, 0);
}

TEST_F(ControlServerTest, RefusesTheSocketOfALiveAgentAndLeavesItAlone) {
  start();
  auto second = std::make_unique<Agent>(options, linkedTables());
  Io otherIo;
  try {
    Control::ControlServer const other(otherIo, {*second, stream}, path);
    FAIL() << "two servers have one socket";
  } catch (std::runtime_error const& error) {
    EXPECT_THAT(error.what(), HasSubstr(path));
    EXPECT_THAT(error.what(), HasSubstr("another process listens there"));
  }
  EXPECT_EQ(ask({"verbs"}).exitCode, 0);
}

TEST_F(ControlServerTest, RefusesANameThatIsSomethingElse) {
  std::ofstream(path) << "precious";
  EXPECT_THAT(refusal(), HasSubstr("something is there that is no socket"));
  EXPECT_EQ(contentOf(path), "precious");
}

TEST_F(ControlServerTest, RefusesANameThatASocketCannotHave) {
  std::string const folder = path.substr(0, path.rfind('/'));
  path = folder + "/" + std::string(120, 'x');
  EXPECT_THAT(refusal(), HasSubstr("longer than 107 bytes"));
  path = folder + "/missing/socket";
  EXPECT_THAT(refusal(), HasSubstr("No such file or directory"));
  path = "";
  EXPECT_THAT(refusal(), HasSubstr("the name is empty"));
}

TEST_F(ControlServerTest, SaysWhatIsWrongWithARequest) {
  start();
  std::pair<char const*, char const*> const wrong[] = {
      {"show groups\n", "the request is no JSON"},
      {"\n", "the request is no JSON"},
      {"[\"show\"]\n", "the request is no JSON object"},
      {"{}\n", "the request has no \"verb\""},
      {"{\"verb\":\"show\"}\n", "the request has no \"verb\""},
      {"{\"verb\":[\"show\",1]}\n", "the request has no \"verb\""},
      {"{\"verb\":[]}\n", "a verb is missing"},
      {"{\"verb\":[\"explode\"]}\n", "there is no verb \"explode\""},
      {"{\"verb\":[\"show\"]}\n", "show: one of tables, interfaces"},
      {"{\"verb\":[\"show\",\"cats\"]}\n", "show \"cats\": there is only tables"},
      {"{\"verb\":[\"show\",\"groups\",\"7\"]}\n", "\"7\" is too much: show groups"},
      {"{\"verb\":[\"show\",\"group\"]}\n", "too little is said: show group N"},
      {"{\"verb\":[\"show\",\"group\",\"seven\"]}\n", "\"seven\" is not a group's number"},
      {"{\"verb\":[\"show\",\"group\",\"99999999999\"]}\n", "is not a group's number"},
  };
  for (auto const& [line, error] : wrong) {
    Answered const answered = answerTo(line);
    EXPECT_EQ(answered.exitCode, 2) << line;
    EXPECT_THAT(answered.error, HasSubstr(error)) << line;
  }
}

TEST_F(ControlServerTest, TextThatIsNoUtf8IsToldInOneThatIs) {
  start();
  TestClient client(path);
  client.send("{\"verb\":[\"\xff\xfe\"]}\n");
  EXPECT_EQ(answer(client).exitCode, 2);
}

TEST_F(ControlServerTest, AnswersRequestAfterRequestInTheirOrder) {
  start();
  TestClient client(path);
  client.ask({"show", "tables"});
  client.ask({"show", "cats"});
  client.ask({"show", "allocators"});
  EXPECT_EQ(answer(client).rows("tables").size(), 4U);
  EXPECT_EQ(answer(client).exitCode, 2);
  EXPECT_EQ(answer(client).rows("allocators").size(), 4U);
}

TEST_F(ControlServerTest, ARequestMayComeInPieces) {
  start();
  TestClient client(path);
  for (char const c : std::string("{\"verb\":[\"verbs\"]}\n")) {
    client.send(std::string(1, c));
    turns(2);
  }
  EXPECT_EQ(answer(client).exitCode, 0);
}

TEST_F(ControlServerTest, EndsAClientWhoseRequestIsTooLong) {
  start();
  TestClient client(path);
  std::string const piece(8192, 'x');
  std::size_t sent = 0;
  bool isThere = true;
  ASSERT_TRUE(turnsUntil([&] {
    sent += client.sendSome(piece);
    isThere = client.receive();
    return !isThere;
  }));
  std::optional<Json> const end = client.next();
  ASSERT_TRUE(end.has_value());
  EXPECT_THAT((*end)["end"]["error"].get<std::string>(), HasSubstr("longer than 64 KiB"));
  EXPECT_LT(sent, std::size_t{1} << 20) << "all of it was taken";
  EXPECT_EQ(server->clients(), 0U);
}

TEST_F(ControlServerTest, AClientThatSendsNoMoreGetsItsAnswer) {
  start();
  TestClient client(path);
  client.ask({"show", "tables"});
  client.endInput();
  EXPECT_EQ(answer(client).exitCode, 0);
  EXPECT_TRUE(turnsUntil([&] { return !client.receive() && server->clients() == 0; }));
}

TEST_F(ControlServerTest, AClientThatGoesEndsItsJob) {
  start();
  TestClient client(path);
  client.ask({"trace", "follow"});
  turns(10);
  EXPECT_EQ(server->clients(), 1U);
  client.close();
  EXPECT_TRUE(turnsUntil([&] { return server->clients() == 0; }));
}

TEST_F(ControlServerTest, NothingIsLeftToDoWhileClientsOnlyWait) {
  start();
  TestClient client(path);
  client.ask({"trace", "follow"});
  TestClient const silent(path);
  turns(10);
  EXPECT_EQ(server->clients(), 2U);
  EXPECT_FALSE(turn());
}

TEST_F(ControlServerTest, TheEndOfTheServerEndsItsClients) {
  start();
  TestClient client(path);
  client.ask({"trace", "follow"});
  turns(10);
  stop();
  EXPECT_FALSE(client.receive());
  turns(10);
}

TEST_F(ControlServerTest, RefusesMoreClientsThanItHasPlacesFor) {
  start();
  std::vector<std::unique_ptr<TestClient>> clients;
  for (int i = 0; i < 64; ++i) {
    clients.push_back(std::make_unique<TestClient>(path));
    turns(2);
  }
  TestClient another(path);
  Answered const answered = answer(another);
  EXPECT_EQ(answered.exitCode, 1);
  EXPECT_THAT(answered.error, HasSubstr("64 clients are connected already"));
  clients.pop_back();
  turns(10);
  EXPECT_EQ(ask({"verbs"}).exitCode, 0);
}

// Somebody who can open the file, since root has opened it to all, is not listened to for that.
TEST_F(ControlServerTest, ListensToNobodyButItsOwnUserAndRoot) {
  if (::geteuid() != 0) GTEST_SKIP() << "only root can be somebody else";
  start();
  std::filesystem::permissions(path, std::filesystem::perms::all);
  std::filesystem::permissions(path.substr(0, path.rfind('/')), std::filesystem::perms::all);
  int ends[2];
  ASSERT_EQ(::pipe(ends), 0);
  pid_t const child = ::fork();
  if (child == 0) {
    constexpr uid_t nobody = 65534;
    if (::setgid(nobody) != 0 || ::setuid(nobody) != 0) ::_exit(2);
    std::string said;
    try {
      TestClient client(path);
      (void)client.sendSome("{\"verb\":[\"verbs\"]}\n");
      while (client.receive()) ::usleep(1000);
      while (auto const message = client.next()) said += message->dump() + "\n";
    } catch (std::exception const& error) {
      said = error.what();
    }
    ssize_t const written = ::write(ends[1], said.data(), said.size());
    ::_exit(written == static_cast<ssize_t>(said.size()) ? 0 : 3);
  }
  int status = 0;
  EXPECT_TRUE(turnsUntil([&] { return ::waitpid(child, &status, WNOHANG) == child; }));
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
  char buffer[4096];
  ssize_t const size = ::read(ends[0], buffer, sizeof buffer);
  std::string const said(buffer, size > 0 ? static_cast<std::size_t>(size) : 0);
  EXPECT_EQ(said,
            "{\"end\":{\"exit\":1,\"error\":\"only the agent's own user and root are listened "
            "to\"}}\n");
  ::close(ends[0]);
  ::close(ends[1]);
  EXPECT_EQ(server->clients(), 0U);
}

}  // namespace
}  // namespace OrviaL3Agent::Testing
