#ifndef TESTS_SUPPORT_SCHEMAS_H_
#define TESTS_SUPPORT_SCHEMAS_H_

#include <string>

// The text of the schema script of that name, "pphoto.sql" or "photo.sql".
std::string SchemaScript(const std::string& name);
// True when the database "photo" of the test server answers.
bool PostgresAnswers();

#endif  // TESTS_SUPPORT_SCHEMAS_H_
