#include "preview/preview_set.h"

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <system_error>

#include "base/file_descriptor.h"
#include "base/limits.h"
#include "platform/share.h"

namespace {

constexpr int kQuality = 82;
constexpr mode_t kMode = 0644;

[[noreturn]] void Refuse(const std::string& what) {
  throw std::system_error(errno, std::generic_category(), what);
}

std::vector<std::uint8_t> JpegOf(const vips::VImage& image) {
  VipsBlob* blob = image.jpegsave_buffer(
      vips::VImage::option()->set("Q", kQuality)->set("strip", true)->set("optimize_coding", true));
  std::size_t size = 0;
  const auto* bytes = static_cast<const std::uint8_t*>(vips_blob_get(blob, &size));
  std::vector<std::uint8_t> jpeg(bytes, bytes + size);
  vips_area_unref(VIPS_AREA(blob));
  return jpeg;
}

// The side folder of PATH, made when it is missing; links below the file's own folder lead nowhere.
FileDescriptor OpenSideFolder(const std::string& path) {
  std::array<char, kPathSize> item{};
  if (KAVOEAPath(0, path.c_str(), kPreviewForms.front().name, item.data(), kPathSize, 0) != 0)
    Refuse("side folder");
  std::string folder = item.data();
  folder.resize(folder.rfind('/'));
  if (KAVOEAMKDir(0, folder.c_str()) != 0) Refuse(folder);
  const std::size_t name = path.rfind('/') + 1;
  const FileDescriptor above(
      open(name == 0 ? "." : path.substr(0, name).c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
  open_how how{};
  how.flags = O_RDONLY | O_DIRECTORY | O_CLOEXEC;
  how.resolve = RESOLVE_BENEATH | RESOLVE_NO_SYMLINKS;
  const std::string below = folder.substr(name);
  FileDescriptor side(static_cast<int>(syscall(SYS_openat2, above.get(), below.c_str(), &how, sizeof how)));
  if (!side) Refuse(folder);
  return side;
}

void WriteAll(int file, const std::vector<std::uint8_t>& bytes) {
  for (std::size_t written = 0; written < bytes.size();) {
    const ssize_t count = write(file, bytes.data() + written, bytes.size() - written);
    if (count < 0 && errno != EINTR) Refuse("write");
    if (count > 0) written += static_cast<std::size_t>(count);
  }
}

void Store(int folder, const std::string& name, const std::vector<std::uint8_t>& bytes) {
  // One that was killed leaves it behind, for the next to use.
  const std::string unfinished = "." + name + ".new";
  unlinkat(folder, unfinished.c_str(), 0);
  const FileDescriptor file(
      openat(folder, unfinished.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, kMode));
  if (!file) Refuse(name);
  try {
    WriteAll(file.get(), bytes);
    if (renameat(folder, unfinished.c_str(), folder, name.c_str()) != 0) Refuse(name);
  } catch (const std::system_error&) {
    unlinkat(folder, unfinished.c_str(), 0);
    throw;
  }
}

}  // namespace

// Each from the one before, which is twice as large or more.
Previews MakePreviews(const vips::VImage& largest) {
  Previews previews;
  vips::VImage image = largest;
  for (std::size_t form = 0; form < kPreviewForms.size(); ++form) {
    const int side = kPreviewForms[form].side;
    if (image.width() > side || image.height() > side) {
      image = image
                  .thumbnail_image(side, vips::VImage::option()
                                             ->set("height", side)
                                             ->set("size", VIPS_SIZE_DOWN)
                                             ->set("no_rotate", true))
                  .copy_memory();
    }
    previews[form] = JpegOf(image);
  }
  return previews;
}

void StorePreviews(const std::string& path, const Previews& previews) {
  const FileDescriptor folder = OpenSideFolder(path);
  // Two that write the same pictures take turns.
  if (flock(folder.get(), LOCK_EX) != 0) Refuse("lock");
  for (std::size_t form = previews.size(); form-- > 0;)
    Store(folder.get(), kPreviewForms[form].name, previews[form]);
}
