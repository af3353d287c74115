#ifndef TESTS_SUPPORT_HOSTILE_NAMES_H_
#define TESTS_SUPPORT_HOSTILE_NAMES_H_

#include <string>
#include <vector>

// Texts that have broken statements, patterns, formats, shells and logs elsewhere; each can be a file name
// (no '/', no NUL, at most 240 bytes, not "." or ".."). The last group is not UTF-8.
std::vector<std::string> HostileNames();
std::vector<std::string> HostileBytes();

#endif  // TESTS_SUPPORT_HOSTILE_NAMES_H_
