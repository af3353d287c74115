#ifndef PLATFORM_LINUX_CORE_PERSON_H_
#define PLATFORM_LINUX_CORE_PERSON_H_

#include <sys/types.h>

#include <string>
#include <vector>

// What an account is: its groups and its home.
struct Person {
  gid_t group;
  std::vector<gid_t> groups;  // `group` among them, unless there is no such account
  std::string name;           // "" when there is no such account
  std::string home;
};

// The account with the number USER; one that the system does not know is in nobody's group alone.
Person FindPerson(uid_t user);

#endif  // PLATFORM_LINUX_CORE_PERSON_H_
