#ifndef TESTS_SUPPORT_APPLIANCE_TREE_H_
#define TESTS_SUPPORT_APPLIANCE_TREE_H_

#include <filesystem>
#include <string>

#include "support/temp_dir.h"

// A whole appliance, for tests on the real platform. The package is enabled; there is a shared tree and,
// after AddUser, personal folders that are switched on. All trees of a process stand at the same place, so
// there is one at a time.
//
// kTemporary: everything in a temporary folder, LUMIVAULT_ROOT points at it while the object lives.
// kReal: the fixed paths themselves, which stay behind when the object goes. REQUIRES: a mount namespace of
// the process's own (private_namespace.h).
//
//   volume/photo                    the shared photo folder, linked from var/services/photo
//   volume/homes/<user>/photo       personal folders
class ApplianceTree {
 public:
  enum class Place { kTemporary, kReal };

  explicit ApplianceTree(Place place = Place::kTemporary);
  ~ApplianceTree();
  ApplianceTree(const ApplianceTree&) = delete;
  ApplianceTree& operator=(const ApplianceTree&) = delete;

  std::filesystem::path root() const { return place_ == Place::kReal ? "/" : dir_ / "root"; }
  std::filesystem::path shared() const { return dir_ / "volume" / "photo"; }
  std::filesystem::path personal(const std::string& user) const {
    return dir_ / "volume" / "homes" / user / "photo";
  }

  // Makes the user's photo folder and switches the personal edition on.
  void AddUser(const std::string& user);
  // Sets KEY in the package's settings.conf; an empty VALUE removes it.
  void Set(const std::string& key, const std::string& value);
  void EnablePackage(bool enabled);

 private:
  void LinkShares() const;
  void InstallPackage() const;

  Place place_;
  std::filesystem::path dir_;
};

#endif  // TESTS_SUPPORT_APPLIANCE_TREE_H_
