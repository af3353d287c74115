// The people that the database links with a photo.
#ifndef PHOTO_DATABASE_PEOPLE_DATABASE_H_
#define PHOTO_DATABASE_PEOPLE_DATABASE_H_

#include "base/owned_hash.h"
#include "photo_database/people_regions.h"

// The confirmed people of photo PHOTO_ID. Named: name to face information. Unnamed: face information to "".
// The face information is the column "info_new", or "info" when that is empty; COLUMNS (may be null) receives
// under the same keys the name of the column used. Empty on failure, which is logged,
// a hash that cannot grow by the caller.
OwnedHash GetPhotoPeopleTaggingFromDB(int photo_id, People people, RLIBCSZHASH* columns);

#endif  // PHOTO_DATABASE_PEOPLE_DATABASE_H_
