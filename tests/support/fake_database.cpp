// Connections, results, statement templates and lending.
#include <strings.h>

#include <algorithm>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "platform/connection_lending.h"
#include "platform/database.h"
#include "support/fake_record.h"

struct tag_KAVODB_CONNECTION {
  int type;
  int number;
};

struct tag_KAVODB_RESULT {
  std::vector<std::map<std::string, std::string>> rows;
  int affected = 0;
  bool fetch_fails = false;
  std::size_t next = 0;
};

namespace {

// The answer that the test has prepared for SQL.
FakePlatform::Answer TakeAnswer(const std::string& sql) {
  auto& answers = FakePlatform::Get().answers;
  const auto found = std::find_if(answers.begin(), answers.end(), [&](const auto& answer) {
    return sql.find(answer.match) != std::string::npos;
  });
  if (found == answers.end()) return {};
  FakePlatform::Answer answer = *found;
  if (answer.once) answers.erase(found);
  return answer;
}

int Run(const KAVODB_CONNECTION* connection, const char* sql, std::size_t limit, std::size_t offset,
        KAVODB_RESULT** result) {
  if (sql == nullptr) return -1;
  FakePlatform& fake = FakePlatform::Get();
  fake.statements.emplace_back(sql);
  fake.sent_over.push_back(connection == nullptr ? 0 : connection->number);
  FakePlatform::Answer answer = TakeAnswer(sql);
  if (answer.result == -1) return -1;
  if (result == nullptr) {
    fake.without_result.emplace_back(sql);
    return 0;
  }
  auto& rows = answer.rows;
  rows.erase(rows.begin(), rows.begin() + static_cast<std::ptrdiff_t>(std::min(offset, rows.size())));
  if (limit != 0 && rows.size() > limit) rows.resize(limit);
  ++fake.open_results;
  *result =
      new KAVODB_RESULT{rows, answer.affected, answer.fetch_fails};  // NOLINT: freed by KAVODBFreeResult
  return 0;
}

std::size_t AsCount(int number) {
  return number > 0 ? static_cast<std::size_t>(number) : 0;
}

// The text of the next argument for a placeholder; false for a null text.
bool NextArgument(const std::string& kind, va_list* arguments, std::string* out) {
  if (kind == "INT") {
    *out += std::to_string(va_arg(*arguments, int));
  } else if (kind == "LLINT") {
    *out += std::to_string(va_arg(*arguments, long long));
  } else {
    const char* text = va_arg(*arguments, const char*);
    if (text == nullptr) return false;
    *out += text;
  }
  return true;
}

// TEMPLATE with its placeholders filled; null text when an argument is missing.
char* Fill(const std::string& sql_template, va_list* arguments) {
  constexpr const char* kMark = "@KAVO:";
  std::string filled;
  std::size_t start = 0;
  for (auto at = sql_template.find(kMark); at != std::string::npos; at = sql_template.find(kMark, start)) {
    filled += sql_template.substr(start, at - start);
    const auto kind_start = at + std::strlen(kMark);
    const auto kind_end = sql_template.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZ", kind_start);
    const std::string kind = sql_template.substr(kind_start, kind_end - kind_start);
    if (!NextArgument(kind, arguments, &filled)) return nullptr;
    start = std::min(kind_end, sql_template.size());
  }
  return strdup((filled + sql_template.substr(start)).c_str());
}

}  // namespace

KAVODB_CONNECTION* KAVODBConnect(const char* host, const char* user, const char* password,
                                 const char* database) {
  if (Fails("KAVODBConnect", host, user, password, database)) return nullptr;
  FakePlatform& fake = FakePlatform::Get();
  ++fake.open_connections;
  const int type = user == nullptr ? KAVODB_TYPE_SQLITE : KAVODB_TYPE_POSTGRES;
  return new KAVODB_CONNECTION{type, ++fake.connections};  // NOLINT: freed by KAVODBClose
}

const char* KAVODBConnectErrorGet(void) {
  Record("KAVODBConnectErrorGet");
  return FakePlatform::Get().database_error.c_str();
}

void KAVODBClose(KAVODB_CONNECTION* connection) {
  Record("KAVODBClose");
  --FakePlatform::Get().open_connections;
  const std::unique_ptr<KAVODB_CONNECTION> owned(connection);
}

int KAVODBExecute(KAVODB_CONNECTION* connection, const char* sql, KAVODB_RESULT** result) {
  return Answered("KAVODBExecute", [&]() -> int {
    return Fails("KAVODBExecute", sql) ? -1 : Run(connection, sql, 0, 0, result);
  });
}

int KAVODBSelectLimit(KAVODB_CONNECTION* connection, const char* sql, int limit, int offset,
                      KAVODB_RESULT** result) {
  return Answered("KAVODBSelectLimit", [&]() -> int {
    if (Fails("KAVODBSelectLimit", sql, limit, offset)) return -1;
    return Run(connection, sql, AsCount(limit), AsCount(offset), result);
  });
}

int KAVODBNumRows(KAVODB_RESULT* result) {
  Record("KAVODBNumRows");
  return result == nullptr ? 0 : static_cast<int>(result->rows.size());
}

int KAVODBFetchRow(KAVODB_RESULT* result, KAVODB_ROW* row) {
  return Answered("KAVODBFetchRow", [&]() -> int {
    if (Fails("KAVODBFetchRow") || result == nullptr || result->fetch_fails) return -1;
    if (result->next >= result->rows.size()) return -1;
    *row = &result->rows[result->next++];
    return 0;
  });
}

const char* KAVODBFetchField(KAVODB_RESULT* result, KAVODB_ROW row, const char* column) {
  Record("KAVODBFetchField", column);
  if (result == nullptr || row == nullptr || column == nullptr) return nullptr;
  for (const auto& [name, value] : *static_cast<std::map<std::string, std::string>*>(row)) {
    if (strcasecmp(name.c_str(), column) == 0) return value.c_str();
  }
  return nullptr;
}

int KAVODBAffectedRows(KAVODB_CONNECTION* /*connection*/, KAVODB_RESULT* result) {
  Record("KAVODBAffectedRows");
  return result == nullptr ? 0 : result->affected;
}

void KAVODBFreeResult(KAVODB_RESULT* result) {
  Record("KAVODBFreeResult");
  --FakePlatform::Get().open_results;
  const std::unique_ptr<KAVODB_RESULT> owned(result);
}

const char* KAVODBErrorGet(KAVODB_CONNECTION* /*connection*/) {
  Record("KAVODBErrorGet");
  return FakePlatform::Get().database_error.c_str();
}

int KAVODBDatabaseTypeGet(KAVODB_CONNECTION* connection) {
  Record("KAVODBDatabaseTypeGet");
  return connection == nullptr ? -1 : FakePlatform::Get().database_type.value_or(connection->type);
}

char* KAVODBEscapeStringEX3(int database_type, const char* sql_template, ...) {
  if (Fails("KAVODBEscapeStringEX3", database_type, sql_template) || sql_template == nullptr) return nullptr;
  va_list arguments;
  va_start(arguments, sql_template);
  char* text = Fill(sql_template, &arguments);
  va_end(arguments);
  return text;
}

int EscapeConditionEX2(int database_type, const char* condition, char* out) {
  return Answered("EscapeConditionEX2", [&]() -> int {
    if (Fails("EscapeConditionEX2", database_type, condition)) return -1;
    // The real one may double every byte: all the room that the caller has to make is written.
    const std::size_t length = std::strlen(condition);
    std::memset(out, '#', 2 * length + 1);
    std::memcpy(out, condition, length + 1);
    return 0;
  });
}

int KAVODBLend(const char* file) {
  return Answered("KAVODBLend", [&]() -> int { return Fails("KAVODBLend", file) ? -1 : 0; });
}
int KAVODBLendDatabase(const char* user, const char* database) {
  return Answered("KAVODBLendDatabase",
                  [&]() -> int { return Fails("KAVODBLendDatabase", user, database) ? -1 : 0; });
}
void KAVODBLendEnd(void) {
  Record("KAVODBLendEnd");
}
int KAVODBBatchBegin(void) {
  return Answered("KAVODBBatchBegin", [&]() -> int { return Fails("KAVODBBatchBegin") ? -1 : 0; });
}
int KAVODBBatchCommit(void) {
  return Answered("KAVODBBatchCommit", [&]() -> int { return Fails("KAVODBBatchCommit") ? -1 : 0; });
}
void KAVODBBatchRollback(void) {
  Record("KAVODBBatchRollback");
}

int KAVODBBatchMark(void) {
  Record("KAVODBBatchMark");
  return FakePlatform::Get().pending_removals;
}
void KAVODBBatchForgetRemovals(int mark) {
  Record("KAVODBBatchForgetRemovals", mark);
}

const char* KAVODBLentErrorGet(void) {
  Record("KAVODBLentErrorGet");
  return FakePlatform::Get().database_error.c_str();
}
