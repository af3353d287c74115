#ifndef TESTS_PLATFORM_PRIVATE_CLUSTER_H_
#define TESTS_PLATFORM_PRIVATE_CLUSTER_H_

#include <pwd.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>

#include "support/temp_dir.h"

// A PostgreSQL server of the test's own, with the database "photo", that may be stopped and started at will.
// While the object lives the environment of libpq points at it. The server refuses to run as root, so root
// hands it to the user "postgres".
class PrivateCluster {
 public:
  // False where there is no server to start. A DURABLE one has what it commits on the disk before it says so.
  [[nodiscard]] bool Make(bool durable = false) {
    durable_ = durable;
    bin_ = FindPrograms();
    if (!bin_ || !GiveToServer()) return false;
    if (!Run("initdb", "-U postgres -A trust -E UTF8 --locale=C.UTF-8 --no-sync")) return false;
    for (const auto& [name, value] :
         {std::pair{"PGHOST", dir_.path().string()}, {"PGPORT", std::string("5432")}}) {
      const char* before = std::getenv(name);
      (std::string(name) == "PGHOST" ? host_ : port_) =
          before != nullptr ? std::optional<std::string>(before) : std::nullopt;
      setenv(name, value.c_str(), 1);
    }
    made_ = Start() && std::system("createdb -U postgres photo") == 0;
    return made_;
  }
  PrivateCluster() = default;
  PrivateCluster(const PrivateCluster&) = delete;
  PrivateCluster& operator=(const PrivateCluster&) = delete;
  ~PrivateCluster() {
    if (!bin_) return;
    (void)Stop("immediate");
    Restore("PGHOST", host_);
    Restore("PGPORT", port_);
  }

  [[nodiscard]] bool Start() const {
    return Run("pg_ctl", "-w -t 300 -l " + (dir_ / "log") + " -o \"-k " + dir_.path().string() +
                             " -h '' -c fsync=" + (durable_ ? "on" : "off") + "\" start");
  }
  // After Make: whether this machine has the server's programs.
  bool installed() const { return bin_.has_value(); }
  // "fast" asks all sessions to end, "immediate" is a crash.
  [[nodiscard]] bool Stop(const std::string& mode) const {
    return Run("pg_ctl", "-w -t 300 -m " + mode + " stop");
  }

 private:
  static std::optional<std::string> FindPrograms() {
    std::error_code ignored;
    for (const auto& version : std::filesystem::directory_iterator("/usr/lib/postgresql", ignored)) {
      const std::filesystem::path bin = version.path() / "bin";
      if (std::filesystem::exists(bin / "initdb")) return bin.string();
    }
    return std::nullopt;
  }

  [[nodiscard]] bool GiveToServer() const {
    if (geteuid() != 0) return true;
    const passwd* server = getpwnam("postgres");
    return server != nullptr && chown(dir_.path().c_str(), server->pw_uid, server->pw_gid) == 0;
  }

  [[nodiscard]] bool Run(const std::string& program, const std::string& arguments) const {
    const std::string user = geteuid() == 0 ? "runuser -u postgres -- " : "";
    const std::string command = "cd / && " + user + *bin_ + "/" + program + " -D " + (dir_ / "data") + " " +
                                arguments + " >/dev/null 2>&1 </dev/null";
    return std::system(command.c_str()) == 0;
  }

  static void Restore(const char* name, const std::optional<std::string>& value) {
    if (value) {
      setenv(name, value->c_str(), 1);
    } else {
      unsetenv(name);
    }
  }

  TempDir dir_;
  std::optional<std::string> bin_;
  std::optional<std::string> host_;
  std::optional<std::string> port_;
  bool made_ = false;
  bool durable_ = false;
};

#endif  // TESTS_PLATFORM_PRIVATE_CLUSTER_H_
