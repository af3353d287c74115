// The list of personal folders, of any bytes: whoever a path is told to be of has the folder that the path
// lies in.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "base/fixed_path.h"
#include "base/path_below.h"
#include "core/key_value.h"
#include "fuzz/fuzz_input.h"
#include "index/personal_folder.h"
#include "platform/index.h"
#include "support/temp_dir.h"

namespace {

void CheckPath(const std::string& path) {
  const PathOwner owner = OwnerOf(path);
  Require(owner.known, "not known", path);
  if (!owner.personal) return;
  const auto& [user, folder] = *owner.personal;
  Require(!user.empty() && user.find('/') == std::string::npos, "no name of a user", user);
  Require(folder.starts_with('/') && !folder.ends_with('/') && folder.find("//") == std::string::npos,
          "no plain folder", folder);
  Require(IsOrLiesBelow(path, folder), "it lies elsewhere", path);
  char told[4096];
  if (KAVOIndexPersonalPhotoPathGet(user.c_str(), told, sizeof told) == 0)
    Require(folder == told, "another folder of that user", folder);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const TempDir dir;
  static const bool rooted = setenv("LUMIVAULT_ROOT", dir.path().c_str(), 1) == 0;
  Require(rooted, "no root");
  const std::string text = TextOf(data, size);
  WriteFile(dir.path().string() + kPersonalFolders, text);
  for (const auto& [user, folder] : ParseKeyValues(text).pairs) {
    CheckPath(folder);
    CheckPath(folder + "/a.jpg");
    CheckPath(folder + "x");
  }
  CheckPath("/");
  CheckPath("/homes/somebody/photo/a.jpg");
  return 0;
}
