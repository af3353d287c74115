// A server that can be reached and never says a word, as one behind a broken network.
#include <arpa/inet.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <future>
#include <map>
#include <thread>

#include "platform/database_fixture.h"

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using Clock = std::chrono::steady_clock;

// While the object lives the environment of libpq points at it.
class SilentServer {
 public:
  SilentServer() {
    sockaddr_in address = Local();
    socklen_t size = sizeof address;
    if (bind(listener_, reinterpret_cast<sockaddr*>(&address), size) != 0 || listen(listener_, 4) != 0 ||
        getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &size) != 0) {
      abort();
    }
    port_ = address.sin_port;
    Set("PGHOST", "127.0.0.1");
    Set("PGPORT", std::to_string(ntohs(port_)));
    Set("PGCONNECT_TIMEOUT", "");
  }
  SilentServer(const SilentServer&) = delete;
  SilentServer& operator=(const SilentServer&) = delete;
  ~SilentServer() {
    close(listener_);
    for (const auto& [name, value] : before_) {
      value ? setenv(name.c_str(), value->c_str(), 1) : unsetenv(name.c_str());
    }
  }

  // An empty VALUE takes the name out of the environment.
  void Set(const std::string& name, const std::string& value) {
    const char* old = std::getenv(name.c_str());
    before_.emplace(name, old != nullptr ? std::optional<std::string>(old) : std::nullopt);
    value.empty() ? unsetenv(name.c_str()) : setenv(name.c_str(), value.c_str(), 1);
  }

  // This process's end of a connection to it; -1 while there is none.
  [[nodiscard]] int ClientSocket() const {
    constexpr int kMostDescriptors = 256;
    for (int descriptor = 0; descriptor < kMostDescriptors; ++descriptor) {
      sockaddr_in peer{};
      socklen_t size = sizeof peer;
      if (getpeername(descriptor, reinterpret_cast<sockaddr*>(&peer), &size) == 0 &&
          peer.sin_family == AF_INET && peer.sin_port == port_) {
        return descriptor;
      }
    }
    return -1;
  }

 private:
  static sockaddr_in Local() {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
  }

  const int listener_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  in_port_t port_ = 0;
  std::map<std::string, std::optional<std::string>> before_;
};

int Option(int descriptor, int level, int name) {
  int value = -1;
  socklen_t size = sizeof value;
  EXPECT_EQ(getsockopt(descriptor, level, name, &value, &size), 0);
  return value;
}

TEST(PostgresNetworkTest, ASilentServerIsGivenUpAfterTenSeconds) {
  const SilentServer server;
  const Clock::time_point start = Clock::now();
  EXPECT_EQ(OpenPostgres(), nullptr);
  EXPECT_GE(Clock::now() - start, seconds(9));
  EXPECT_LT(Clock::now() - start, seconds(25));
  EXPECT_NE(std::string(KAVODBConnectErrorGet()).find("timeout expired"), std::string::npos)
      << KAVODBConnectErrorGet();
}

TEST(PostgresNetworkTest, TheEnvironmentMaySayAnotherTime) {
  SilentServer server;
  server.Set("PGCONNECT_TIMEOUT", "2");
  const Clock::time_point start = Clock::now();
  EXPECT_EQ(OpenPostgres(), nullptr);
  EXPECT_LT(Clock::now() - start, seconds(9));
}

// Nothing else ends a wait for the answer of a machine that lost its power.
TEST(PostgresNetworkTest, TheSystemWatchesOverAConnection) {
  SilentServer server;
  server.Set("PGCONNECT_TIMEOUT", "5");
  std::future<Connection> opened = std::async(std::launch::async, OpenPostgres);
  int client = -1;
  while (client < 0 && opened.wait_for(milliseconds(10)) == std::future_status::timeout) {
    client = server.ClientSocket();
  }
  ASSERT_GE(client, 0);
  EXPECT_EQ(Option(client, SOL_SOCKET, SO_KEEPALIVE), 1);
  EXPECT_EQ(Option(client, IPPROTO_TCP, TCP_KEEPIDLE), 60);
  EXPECT_EQ(Option(client, IPPROTO_TCP, TCP_KEEPINTVL), 10);
  EXPECT_EQ(Option(client, IPPROTO_TCP, TCP_KEEPCNT), 6);
  EXPECT_EQ(Option(client, IPPROTO_TCP, TCP_USER_TIMEOUT), 120'000);
  EXPECT_EQ(opened.get(), nullptr);
}

}  // namespace
