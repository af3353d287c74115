#ifndef SERVICE_WORKER_REASON_TEXT_H_
#define SERVICE_WORKER_REASON_TEXT_H_

#include <string>
#include <string_view>

// REASON, why a file could not be read or stored, for people: where a library speaks in words of its own,
// ours with the library's in brackets. Every other text comes back as it is.
std::string ReasonForPeople(std::string_view reason);

#endif  // SERVICE_WORKER_REASON_TEXT_H_
