#ifndef SERVICE_JOBS_UNREAD_JOBS_H_
#define SERVICE_JOBS_UNREAD_JOBS_H_

#include <cstdint>

// The plug-in queues a watermark job for every photo, in a file of the state folder that a program of an
// appliance reads. Where personal libraries alone are kept nobody does, and it would grow with every run.
//
// Empties it when it holds more than TOLERATED bytes; not in a state folder with a shared photo tree, nor
// where people have switched face recognition on, which has a reader.
void DropUnreadJobs(std::int64_t tolerated);

#endif  // SERVICE_JOBS_UNREAD_JOBS_H_
