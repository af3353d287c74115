// Who else decides what a name leads to.
#ifndef SERVICE_LIBRARY_FOLDER_TRUST_H_
#define SERVICE_LIBRARY_FOLDER_TRUST_H_

#include <sys/stat.h>

#include <cstdint>
#include <optional>
#include <string>

// The caller's, or root's.
bool IsOurs(const struct stat& status);

// Whether others than the caller and root may write to PATH, whose status is STATUS: everybody, a group other
// than root's own for root, or whom an access list names.
bool OthersMayWrite(const std::string& path, const struct stat& status);

enum class Distrust : std::uint8_t { kForeign, kOpen };  // somebody else's; others may write there

struct DistrustedFolder {
  std::string path;
  Distrust why = Distrust::kForeign;
};

// The lowest folder above FOLDER (a real path) in which somebody else could put another in its way; nothing
// where nobody can.
std::optional<DistrustedFolder> DistrustedAbove(const std::string& folder);

#endif  // SERVICE_LIBRARY_FOLDER_TRUST_H_
