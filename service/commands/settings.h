// Settings that stand in for options of the command line: what is not given there is taken from the
// environment, else from the file of settings, else it is the option's default.
#ifndef SERVICE_COMMANDS_SETTINGS_H_
#define SERVICE_COMMANDS_SETTINGS_H_

#include <string>
#include <vector>

#include "common/outcome.h"
#include "settings/settings_file.h"

namespace CLI {
class App;
}

// Gives the options of COMMAND that its command line left out what the settings say. A command that has none
// of them reads no file. Fails for the first mistake, in one line that says where it is.
Outcome<Done> ApplySettings(CLI::App& command);

// What holds for a run without options, and who says so.
struct EffectiveSetting {
  std::string key;
  std::string value;
  std::string origin;  // a variable of the environment or FILE:LINE; empty for the default
};
// In the order in which they are documented. Fails as ApplySettings does.
Outcome<std::vector<EffectiveSetting>> EffectiveSettings();

// Everything that is wrong with FILE, in the order of its lines.
std::vector<SettingMistake> MistakesIn(const SettingsFile& file);
// One of them, as "FILE:LINE: what".
Failure FailureOf(const SettingMistake& mistake, const SettingsFile& file);

// MiB of memory that one worker may use in a run without options: as the settings say, else the state folder
// of ROOT, which is named as for --root, else the default. An origin is empty for the default.
Outcome<EffectiveSetting> EffectiveWorkerMemory(const std::string& root);

#endif  // SERVICE_COMMANDS_SETTINGS_H_
