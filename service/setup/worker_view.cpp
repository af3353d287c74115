#include "setup/worker_view.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <filesystem>
#include <string>

#include "base/fixed_path.h"
#include "common/atomic_file.h"
#include "common/display.h"
#include "common/error_text.h"

namespace fs = std::filesystem;

namespace {

constexpr mode_t kFolderMode = 0755;
constexpr mode_t kFileMode = 0644;
constexpr mode_t kToolMode = 0755;
constexpr const char* kJobFolder = "/var/services/photo/@eaDir";

// Programs and scripts of which a state folder may have its own.
constexpr std::array kTools{kSqliteTool,  kMetadataTool, kVideoConvertTool,
                            kPreviewTool, kPhpTool,      kGpsScript};

std::string PlaceOf(const StateRoot& root, const Library& library) {
  return root.Place(library.StateFolder() + "/worker");
}

class View {
 public:
  View(const StateRoot& root, const Library& library)
      : root_(root), library_(library), path_(PlaceOf(root, library)) {}

  Outcome<FileDescriptor> Make(const WorkerIdentity& owner);

 private:
  // Appliance paths.
  void MakeFolders(const std::string& folder);
  void Write(const std::string& file, const std::string& content, mode_t mode = kFileMode);
  void Copy(const std::string& file, mode_t mode = kFileMode);
  void CopyTool(const char* tool);
  void MakeJobFolder(const WorkerIdentity& owner);
  void Note(const std::string& what, int error) {
    if (!failure_) failure_ = Failure{ExitStatus::kConfiguration, AboutFile(path_ + what, ErrorText(error))};
  }

  const StateRoot& root_;
  const Library& library_;
  const std::string path_;
  std::optional<Failure> failure_;
};

Outcome<FileDescriptor> View::Make(const WorkerIdentity& owner) {
  MakeFolders("");
  Write(kPackageMarker, "");
  Copy(kPackageSettings);
  Copy(kPersonalSchema);
  Copy(library_.PreferenceFile());
  Write(kPersonalFolders, KeyValueLine(library_.user, library_.folder));
  for (const char* tool : kTools) CopyTool(tool);
  MakeJobFolder(owner);
  FileDescriptor opened(open(path_.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
  if (!opened) Note("", errno);
  if (failure_) return *failure_;
  return opened;
}

void View::MakeFolders(const std::string& folder) {
  const std::string whole = path_ + folder;
  for (std::size_t end = path_.size(); end != std::string::npos && !failure_;) {
    end = whole.find('/', end + 1);
    const std::string one = whole.substr(0, end);
    if (mkdir(one.c_str(), kFolderMode) != 0 && errno != EEXIST) return Note(folder, errno);
    const FileDescriptor made(open(one.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!made || fchmod(made.get(), kFolderMode) != 0) return Note(folder, errno);
  }
}

void View::Write(const std::string& file, const std::string& content, mode_t mode) {
  MakeFolders(file.substr(0, file.rfind('/')));
  const auto written = WriteWholeFile(path_ + file, content);
  if (!written && !failure_) failure_ = written.failure();
  if (written && chmod((path_ + file).c_str(), mode) != 0) Note(file, errno);
}

// What is not there is not there in the view either.
void View::Copy(const std::string& file, mode_t mode) {
  const auto content = ReadWholeFile(root_.Place(file));
  if (content) return Write(file, *content, mode);
  if (errno != ENOENT) Note(file, errno);
}

void View::CopyTool(const char* tool) {
  std::error_code error;
  const fs::path target = fs::read_symlink(root_.Place(tool), error);
  if (error) return Copy(tool, kToolMode);
  MakeFolders(fs::path(tool).parent_path().string());
  if (symlink(target.c_str(), (path_ + tool).c_str()) != 0) Note(tool, errno);
}

void View::MakeJobFolder(const WorkerIdentity& owner) {
  const std::string folder = path_ + kJobFolder;
  MakeFolders(kJobFolder);
  if (lchown(folder.c_str(), owner.user, owner.group) != 0) Note(kJobFolder, errno);
}

}  // namespace

Outcome<FileDescriptor> MakeWorkerView(const StateRoot& root, const Library& library,
                                       const WorkerIdentity& owner) {
  return View(root, library).Make(owner);
}

// In the folder for jobs the owner may do what he likes meanwhile: names are removed below open folders.
Outcome<Done> RemoveWorkerView(const StateRoot& root, const Library& library) {
  const std::string path = PlaceOf(root, library);
  std::error_code error;
  fs::remove_all(path, error);
  if (!error) return Done{};
  return Failure{ExitStatus::kConfiguration, path + ": cannot be removed: " + ErrorText(error.value())};
}
