#include "worker/plugin.h"

#include <dlfcn.h>

namespace {

template <typename Function>
bool Resolve(void* handle, const char* name, Function*& function) {
  function = reinterpret_cast<Function*>(dlsym(handle, name));
  return function != nullptr;
}

std::string LoaderError() {
  const char* error = dlerror();
  return error != nullptr ? error : "cannot be loaded";
}

}  // namespace

void Plugin::Unload::operator()(void* handle) const {
  dlclose(handle);
}

bool Plugin::ResolveAll() {
  void* handle = handle_.get();
  return Resolve(handle, "IndexAdd_Json", IndexAdd_Json) &&
         Resolve(handle, "IndexRename_Json", IndexRename_Json) &&
         Resolve(handle, "IndexDelete", IndexDelete) && Resolve(handle, "IndexDirAdd", IndexDirAdd) &&
         Resolve(handle, "IndexDirRename", IndexDirRename) &&
         Resolve(handle, "IndexDirDelete", IndexDirDelete) &&
         Resolve(handle, "IndexPreReindex", IndexPreReindex) &&
         Resolve(handle, "IndexReindexUpdate_Json", IndexReindexUpdate_Json) &&
         Resolve(handle, "IndexReindexDirUpdate", IndexReindexDirUpdate) &&
         Resolve(handle, "IndexPostReindex", IndexPostReindex) &&
         Resolve(handle, "HGAStatusCheck", HGAStatusCheck) && Resolve(handle, "IndexDBClose", IndexDBClose);
}

Outcome<Plugin> Plugin::Load(const std::string& path) {
  Plugin plugin;
  plugin.handle_.reset(dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL));
  if (plugin.handle_ == nullptr || !plugin.ResolveAll()) {
    return Failure{ExitStatus::kConfiguration, LoaderError()};
  }
  return plugin;
}
