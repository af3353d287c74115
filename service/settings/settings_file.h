// The file in which a machine or a person keeps settings: a line "key=value" for each. Blanks around both and
// one pair of double quotes around the value are dropped; a line that begins with '#' is a comment.
#ifndef SERVICE_SETTINGS_SETTINGS_FILE_H_
#define SERVICE_SETTINGS_SETTINGS_FILE_H_

#include <string>
#include <string_view>
#include <vector>

#include "common/outcome.h"

struct SettingLine {
  std::string key;
  std::string value;
  int line;  // from 1
};

// What is wrong with a line.
struct SettingMistake {
  int line;
  std::string text;
};

struct SettingsFile {
  std::string path;  // empty where there is none
  std::vector<SettingLine> settings;
  std::vector<SettingMistake> mistakes;  // of lines that are none

  // "PATH:LINE"
  std::string Place(int line) const { return path + ":" + std::to_string(line); }
};

// Settings and mistakes in the order of their lines.
SettingsFile ParseSettings(std::string path, std::string_view text);

// Those of the caller, as they are now: in the file that $LUMIVAULT_CONFIG names, else for root in
// /etc/lumivault/lumivault.conf and for others in $XDG_CONFIG_HOME/lumivault/lumivault.conf, which is below
// ~/.config where that is not set. There are none where the variable is empty, or where the file was not
// named and is not there, or not in reach. Fails as ReadSettingsFile does.
Outcome<SettingsFile> ReadCallersSettings();
// Where that is; empty for none.
std::string SettingsPlace();

// The settings in PATH. Fails for a file that cannot be read, or that somebody else may change: it must be
// the caller's or root's, writable by nobody else, and for root by no group.
Outcome<SettingsFile> ReadSettingsFile(const std::string& path);

#endif  // SERVICE_SETTINGS_SETTINGS_FILE_H_
