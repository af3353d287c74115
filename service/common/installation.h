// Where the parts that belong to this program are: beside it in the build tree, or in the usual places of an
// installation.
#ifndef SERVICE_COMMON_INSTALLATION_H_
#define SERVICE_COMMON_INSTALLATION_H_

#include <string>

#include "base/file_descriptor.h"
#include "common/outcome.h"

// This program's own file.
std::string ProgramPath();
// The worker program that belongs to this program, open to be started. It stays the same one when its file is
// replaced during a run.
Outcome<FileDescriptor> OpenWorkerProgram();
// The plug-in: what LUMIVAULT_PLUGIN names, else the one that belongs to this program.
Outcome<std::string> PluginPath();

// The schema scripts of the two kinds of databases.
inline constexpr const char* kPersonalScript = "pphoto.sql";
inline constexpr const char* kSharedScript = "photo.sql";
// Where the script NAME is.
Outcome<std::string> SchemaPath(const std::string& name);

#endif  // SERVICE_COMMON_INSTALLATION_H_
