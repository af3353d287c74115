#include "plugin.h"

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

Outcome<Plugin> Plugin::Load(const std::string& path) {
  Plugin plugin;
  plugin.handle_.reset(dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL));
  void* handle = plugin.handle_.get();
  const bool complete = handle != nullptr && Resolve(handle, "IndexAdd_Json", plugin.IndexAdd_Json) &&
                        Resolve(handle, "IndexDirAdd", plugin.IndexDirAdd) &&
                        Resolve(handle, "HGAStatusCheck", plugin.HGAStatusCheck) &&
                        Resolve(handle, "IndexDBClose", plugin.IndexDBClose);
  if (!complete) return Failure{ExitStatus::kConfiguration, LoaderError()};
  return plugin;
}
