#ifndef TESTS_PLATFORM_SCRIPTED_SERVER_H_
#define TESTS_PLATFORM_SCRIPTED_SERVER_H_

#include <arpa/inet.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "support/temp_dir.h"

// Speaks just enough of PostgreSQL's protocol to answer statements with what the test has written down, so
// that losses which a real server shows only in a race happen every time. While the object lives the
// environment of libpq points at it.
class ScriptedServer {
 public:
  // Messages of the protocol.
  static std::string Message(char type, const std::string& body) {
    return type + Int32(static_cast<std::uint32_t>(body.size() + 4)) + body;
  }
  static std::string Ready() { return Message('Z', "I"); }
  static std::string ReadyInTransaction() { return Message('Z', "T"); }
  static std::string Done(const std::string& tag) { return Message('C', tag + Nul()); }
  // An error, with or without its SQLSTATE.
  static std::string Error(const std::string& state) {
    const std::string code = state.empty() ? "" : "C" + state + Nul();
    return Message('E', "SFATAL" + Nul() + "VFATAL" + Nul() + code + "Mscripted" + Nul() + Nul());
  }
  // One row of one column "v".
  static std::string Row(const std::string& value) {
    const std::string type = Int32(0) + Int16(0) + Int32(25) + Int16(0xffff) + Int32(0xffffffff) + Int16(0);
    return Message('T', Int16(1) + "v" + Nul() + type) +
           Message('D', Int16(1) + Int32(static_cast<std::uint32_t>(value.size())) + value) +
           Done("SELECT 1");
  }

  // ANSWERS are given one a statement, over all connections; without one the connection is closed.
  explicit ScriptedServer(std::vector<std::string> answers) : answers_(answers.begin(), answers.end()) {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    const std::string path = dir_ / ".s.PGSQL.5432";
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    listener_ = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (bind(listener_, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
        listen(listener_, 4) != 0)
      abort();
    Point("PGHOST", dir_.path().string(), host_);
    Point("PGPORT", "5432", port_);
    thread_ = std::thread([this] { Serve(); });
  }
  ScriptedServer(const ScriptedServer&) = delete;
  ScriptedServer& operator=(const ScriptedServer&) = delete;
  ~ScriptedServer() {
    ending_ = true;
    shutdown(listener_, SHUT_RDWR);
    if (const int client = client_; client >= 0) shutdown(client, SHUT_RDWR);
    thread_.join();
    close(listener_);
    Restore("PGHOST", host_);
    Restore("PGPORT", port_);
  }

  int connections() const { return connections_; }
  std::vector<std::string> statements() {
    const std::lock_guard lock(mutex_);
    return statements_;
  }

 private:
  static std::string Nul() { return std::string(1, '\0'); }
  static std::string Int32(std::uint32_t value) {
    const std::uint32_t network = htonl(value);
    return {reinterpret_cast<const char*>(&network), sizeof network};
  }
  static std::string Int16(std::uint16_t value) {
    const std::uint16_t network = htons(value);
    return {reinterpret_cast<const char*>(&network), sizeof network};
  }

  static void Point(const char* name, const std::string& value, std::optional<std::string>& before) {
    if (const char* old = std::getenv(name)) before = old;
    setenv(name, value.c_str(), 1);
  }
  static void Restore(const char* name, const std::optional<std::string>& before) {
    before ? setenv(name, before->c_str(), 1) : unsetenv(name);
  }

  void Serve() {
    while (!ending_) {
      client_ = accept(listener_, nullptr, nullptr);
      if (client_ < 0) return;
      ++connections_;
      Talk(client_);
      close(client_.exchange(-1));
    }
  }

  void Talk(int client) {
    if (!ReadBody(client)) return;  // the startup message has no type
    Write(client, Message('R', Int32(0)) + Ready());
    char type = 0;
    while (read(client, &type, 1) == 1 && type == 'Q') {
      const std::optional<std::string> statement = ReadBody(client);
      if (!statement) return;
      // What sets up the session is answered as a rule and is not the test's.
      if (statement->starts_with("SET ")) {
        Write(client, Done("SET") + Done("SET") + Ready());
        continue;
      }
      const std::lock_guard lock(mutex_);
      statements_.emplace_back(statement->c_str());
      if (answers_.empty()) return;
      Write(client, answers_.front());
      answers_.pop_front();
    }
  }

  static std::optional<std::string> ReadBody(int client) {
    std::uint32_t length = 0;
    if (recv(client, &length, sizeof length, MSG_WAITALL) != sizeof length) return std::nullopt;
    std::string body(ntohl(length) - sizeof length, '\0');
    if (recv(client, body.data(), body.size(), MSG_WAITALL) != static_cast<ssize_t>(body.size()))
      return std::nullopt;
    return body;
  }
  static void Write(int client, const std::string& bytes) {
    (void)!send(client, bytes.data(), bytes.size(), MSG_NOSIGNAL);
  }

  TempDir dir_;
  std::optional<std::string> host_;
  std::optional<std::string> port_;
  int listener_ = -1;
  std::atomic<int> client_ = -1;
  std::atomic<int> connections_ = 0;
  std::atomic<bool> ending_ = false;
  std::mutex mutex_;
  std::deque<std::string> answers_;
  std::vector<std::string> statements_;
  std::thread thread_;
};

#endif  // TESTS_PLATFORM_SCRIPTED_SERVER_H_
