/* What other programs hold without looking inside. */
#ifndef LUMIVAULT_HANDLES_H_
#define LUMIVAULT_HANDLES_H_

/* A connection to a database, a result of it and a row of that (lumivault/platform/database.h). */
typedef struct tag_KAVODB_CONNECTION KAVODB_CONNECTION;
typedef struct tag_KAVODB_RESULT KAVODB_RESULT;
typedef void* KAVODB_ROW;

/* A list of texts (lumivault/platform/string_list.h). */
typedef struct __tag_RLIBCSZLIST RLIBCSZLIST;

#endif /* LUMIVAULT_HANDLES_H_ */
