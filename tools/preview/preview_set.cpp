#include "preview/preview_set.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <stdexcept>
#include <system_error>
#include <thread>

#include "base/file_descriptor.h"
#include "base/limits.h"
#include "platform/share.h"

namespace {

constexpr int kQuality = 82;
constexpr mode_t kReadAndWrite = 0666;

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

FileDescriptor OpenFolder(int above, const std::string& name) {
  FileDescriptor folder(openat(above, name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  if (!folder) Refuse(name);
  return folder;
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
  const std::string below = folder.substr(name);
  const std::size_t slash = below.find('/');
  return OpenFolder(OpenFolder(above.get(), below.substr(0, slash)).get(), below.substr(slash + 1));
}

// Two that write the same pictures take turns. Whoever may look at the folder can keep it locked.
void Lock(int folder) {
  constexpr std::chrono::milliseconds kPause{50};
  constexpr int kTries = 60;
  for (int tried = 0; flock(folder, LOCK_EX | LOCK_NB) != 0; ++tried) {
    if (errno != EWOULDBLOCK) Refuse("side folder");
    if (tried == kTries) throw std::runtime_error("its side folder is kept locked");
    std::this_thread::sleep_for(kPause);
  }
}

void WriteAll(int file, const std::vector<std::uint8_t>& bytes) {
  for (std::size_t written = 0; written < bytes.size();) {
    const ssize_t count = write(file, bytes.data() + written, bytes.size() - written);
    if (count < 0 && errno != EINTR) Refuse("write");
    if (count > 0) written += static_cast<std::size_t>(count);
  }
}

std::string Unfinished(const PreviewForm& form) {
  return "." + std::string(form.name) + ".new";
}

// All of them are on the disk before the first gets its name.
void WriteUnfinished(int folder, const Previews& previews, mode_t mode) {
  for (std::size_t form = 0; form < previews.size(); ++form) {
    const std::string name = Unfinished(kPreviewForms[form]);
    unlinkat(folder, name.c_str(), 0);  // of one that was killed
    const FileDescriptor file(
        openat(folder, name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0));
    if (!file || fchmod(file.get(), mode) != 0) Refuse(name);
    WriteAll(file.get(), previews[form]);
    if (fdatasync(file.get()) != 0) Refuse(name);
  }
}

void RemoveUnfinished(int folder) {
  for (const PreviewForm& form : kPreviewForms) unlinkat(folder, Unfinished(form).c_str(), 0);
}

// The largest last.
void GiveNames(int folder) {
  for (std::size_t form = kPreviewForms.size(); form-- > 0;) {
    const char* name = kPreviewForms[form].name;
    if (renameat(folder, Unfinished(kPreviewForms[form]).c_str(), folder, name) != 0) Refuse(name);
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

void StorePreviews(const std::string& path, mode_t mode, const Previews& previews) {
  const FileDescriptor folder = OpenSideFolder(path);
  Lock(folder.get());
  try {
    WriteUnfinished(folder.get(), previews, mode & kReadAndWrite);
    GiveNames(folder.get());
  } catch (const std::exception&) {
    RemoveUnfinished(folder.get());
    throw;
  }
}
