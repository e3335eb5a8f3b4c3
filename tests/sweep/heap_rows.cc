// Texts, records, headers, settings in the cache, and files.

#include <configapi/internals.h>
#include <configapi/winfile.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <sstream>
#include <string>
#include <thread>
#include <utility>

#include "base/heap_text.h"
#include "rfc822/header_fixture.h"
#include "support/client_test.h"
#include "support/temp_folder.h"
#include "sweep/rows.h"

namespace test {
namespace {

using configapi::HeapText;

// The result of a call that memory is out for.
template <typename Call>
auto result_of(const Out& out, Call call) {
  decltype(call()) result{};
  out([&] { result = call(); });
  return result;
}

// A call that makes something, or null, and what releases that.
template <typename Make, typename Release>
Row making(std::string names, Make make, Release release,
           std::set<std::string> failures = {"null"}) {
  const auto tell = [=](const Out& out) {
    auto* const made = result_of(out, make);
    std::string told = made != nullptr ? "made" : "null";
    release(made);
    return told;
  };
  return {std::move(names), tell, std::move(failures)};
}

std::string text_or_null(const char* text) {
  return text != nullptr ? text : "null";
}

// In a thread of its own, whose buffer is not made yet.
std::string name_in_buffer(const Out& out) {
  std::string told;
  std::thread([&] {
    const Text address("j@a.b");
    told = text_or_null(
        result_of(out, [&] { return ldapClient().CreateDNFromMail(address); }));
  }).join();
  return told;
}

std::string replaced_text(const Out& out) {
  char* field = nullptr;
  AssignRp("old", &field);
  const int result = result_of(out, [&] { return AssignRp("new", &field); });
  const HeapText owner(field);
  return std::to_string(result) + " " + text_or_null(field);
}

template <int (*kParse)(const char*, UTC_DATE**)>
Row date(const char* name, const char* text) {
  return making(
      name,
      [text] {
        UTC_DATE stale{};
        UTC_DATE* record = &stale;
        const int result = kParse(text, &record);
        EXPECT_EQ(result == 1, record != nullptr);
        return record;
      },
      std::free);
}

// A "?" stands behind one that lacks its text as written.
std::string shown(const RecipTable& table) {
  std::string all;
  for (const Recipient* r = table.first; r != nullptr; r = r->next) {
    EXPECT_TRUE(r->phrase && r->comment && r->local && r->domain);
    all += std::string(" ") + r->canon + (r->orig != nullptr ? "" : "?");
  }
  return all;
}

std::string recipients(const Out& out) {
  const Text list("Joe <a@b> (n), no address, T: x@y;");
  RecipTable table{};
  const auto count =
      result_of(out, [&] { return RecipParse(list, &table, 1); });
  std::string told = std::to_string(count) + shown(table);
  Clear_RT(&table);
  return told;
}

std::string table_of_recipients(const Out& out) {
  const Text list("a@b");
  RecipTable* table = nullptr;
  const auto count = result_of(out, [&] { return AddParse(list, &table); });
  std::string told = std::to_string(count) + (table ? shown(*table) : " null");
  Clear_RT(table);
  std::free(table);
  return told;
}

std::string one_address(const Out& out) {
  const Text text("Joe <a@b>");
  Recipient rec{};
  AssignRp("kept", &rec.orig);
  out([&] { ParseAddr(text, &rec); });
  std::string told = text_or_null(rec.canon) + " " + text_or_null(rec.orig);
  Clear_RP(&rec);
  return told;
}

// Headers.

const std::string kMessage =
    "From a@b Mon Jan  1 10:00:00 1998\n"
    "Received: one\nReceived: two\n"
    "To: A <a@b> (note), c@d\nTo: e@f\nCc: g@h\n"
    "Date: not a date\nResent-Date: 16 Nov 1998\n"
    "X-One: 1\nX-Two: 2\nSubject: " +
    std::string(5000, 's') + "\n " + std::string(9000, 't') +
    "\nStatus: RO\n\nX-Three: 3\n\n";

// All lines of a record are lines of the whole one, but for recipients, of
// which some may be missing, and the date, which may be the later header's.
void expect_part_of_message(const std::string& record) {
  static const std::string whole = parse(kMessage).record;
  std::istringstream lines(record);
  for (std::string line; std::getline(lines, line);) {
    const bool may_differ = line.starts_with("to=") || line.starts_with("cc=");
    EXPECT_TRUE(may_differ || line == "date=Mon, 16 Nov 1998 00:00 +0000" ||
                whole.find(line + "\n") != std::string::npos)
        << line;
  }
}

// The record goes on taking headers, and the file stands where it ought.
std::string header(const Out& out) {
  InitLineIO();  // which an earlier row may have ended
  const HeaderFile file(kMessage);
  const HeaderOwner header(New822Header());
  LogCapture log;
  unsigned lines = 0;
  unsigned status_line = 0;
  const int result = result_of(out, [&] {
    return ParseHdr(file.handle(), header.get(), &lines, &status_line);
  });
  std::string told = std::to_string(result) + first_line(log);
  expect_part_of_message(tell(*header));
  if (result == 1) {
    EXPECT_EQ(lines, 14U);
    EXPECT_EQ(file.parse().record, "other=X-three: 3\n");
    EXPECT_EQ(ParseLine("X-Four: 4", header.get()), 29);
    EXPECT_EQ(ParseLine("Cc: i@j", header.get()), 3);
    EXPECT_NE(tell(*header).find("i@j\n"), std::string::npos);
  }
  return told;
}

Row header_line(const char* line, std::set<std::string> failures) {
  failures.insert("-1; 1 ParseLine: malloc failed.");
  const auto tell = [line](const Out& out) {
    const HeaderOwner header(New822Header());
    LogCapture log;
    const int code =
        result_of(out, [&] { return ParseLine(line, header.get()); });
    return std::to_string(code) + first_line(log) + test::tell(*header);
  };
  return {"ParseLine", tell, failures};
}

// Settings.
std::string cached(const char* key) {
  char value[16] = "kept";
  unsigned long type = 0;
  const int result = LookupCache("S", key, value, sizeof value, &type);
  return result == 0 ? std::string(" ") + value : " -";
}

template <bool kPresent>
std::string cache(const Out& out) {
  ClearCache();
  AddCache("S", "other", "o", 2);
  if (kPresent) {
    AddCache("S", "key", "old", 2);
  }
  const int result =
      result_of(out, [] { return AddCache("S", "key", "value", 2); });
  std::string told = std::to_string(result) + cached("key") + cached("other");
  ClearCache();
  return told;
}

std::string valid_address(const Out& out) {
  const Text section("Options");
  const Text key("TryReverseSeparator");
  const Text address("Joe <a@b>");
  const int result =
      result_of(out, [&] { return valid8(section, key, address); });
  return std::to_string(result) + " " + static_cast<char*>(address);
}

std::string read_table(const Out& out) {
  cConfig config;
  char value[16] = "kept";
  unsigned long type = 99;
  const int result = result_of(out, [&] {
    return config.CONFIGReadData("Options", "LdapServer", nullptr, value,
                                 sizeof value, &type);
  });
  return std::to_string(result) + " " + value + " " + std::to_string(type);
}

// Files.

auto open_descriptors() {
  return std::distance(std::filesystem::directory_iterator("/proc/self/fd"),
                       std::filesystem::directory_iterator());
}

std::string pool_start(const Out& out) {
  TerminateLineIO();
  const int result = result_of(out, InitLineIO);
  return std::to_string(result) + (thread_file_pool != nullptr ? "" : " null");
}

std::string pool_entry(const Out& out) {
  FilePool pool{};
  OBX_FILE* file = NewOBX_FILE();
  const int result = result_of(out, [&] { return AddToFilePool(&pool, file); });
  std::string told = std::to_string(result) + " " + std::to_string(pool.count);
  DelOBX_FILE(&file);
  std::free(pool.first);
  return told;
}

// The first file of a pool, for which a node is made too.
Row opening(const char* name, OBX_FILE* (*open)(char*),
            std::set<std::string> failures) {
  const auto tell = [open](const Out& out) {
    const TempFolder folder;
    const Text path(folder.write("file", "text\n"));
    LogCapture log;
    TerminateLineIO();
    InitLineIO();
    const auto before = open_descriptors();
    OBX_FILE* file = result_of(out, [&] { return open(path); });
    std::string told = file != nullptr ? "open " : "none ";
    told += std::to_string(open_descriptors() - before) + first_line(log);
    if (file != nullptr && thread_file_pool->count == 0) {
      DelOBX_FILE(&file);
    }
    TerminateLineIO();
    return told;
  };
  return {name, tell, std::move(failures)};
}

OBX_FILE* file_of(std::intptr_t handle) {
  return GetFromFilePool(thread_file_pool, static_cast<int>(handle));
}

}  // namespace

std::vector<Row> heap_rows() {
  static const Text text("cn=Joe");
  static const Text address("j@a.b");
  static AttrRecords values({{1, "cn", "Joe"}, {2, "sn", ""}});
  // What a recipient's text that no name has needs is not missed.
  const std::set<std::string> some = {"null", kSame};
  return {
      making(
          "dn_check", [] { return dn_check(text); }, std::free),
      making(
          "parse_keyname", [] { return parse_keyname(text); }, std::free),
      making(
          "get_list", [] { return get_list(text); }, free_getlist),
      making(
          "get_modlist", [] { return get_modlist(values.list(), -1); },
          free_modlist),
      making(
          "ldapClient::GetSuffix",
          [] { return ldapClient().GetSuffix(address); }, std::free, some),
      making(
          "ldapClient::Mail2DN", [] { return ldapClient().Mail2DN(address); },
          std::free, some),
      {"ldapClient::CreateDNFromMail", name_in_buffer, some},
      making("New822Header", New822Header, Free822Header),
      making("AllocateRecipient", AllocateRecipient, std::free),
      making("NewOBX_FILE", NewOBX_FILE,
             [](OBX_FILE* file) { DelOBX_FILE(&file); }),
      date<rfc2UTC>("rfc2UTC", "Mon, 16 Nov 1998 15:48:37 -0500"),
      date<ctime2UTC>("ctime2UTC", "Mon Nov 16 15:48:37 1998"),
      {"AssignRp", replaced_text, {"0 null"}},
      {"RecipParse OBX_RecipParse ST_RecipParse",
       recipients,
       {"0", "0 a@b", "0 a@b?", "1 a@b", "1 T: x@y;", "2 a@b? T: x@y;",
        "2 a@b T: x@y;?"}},
      {"AddParse", table_of_recipients, {"0 null", "0", "1 a@b?"}},
      {"ParseAddr", one_address, {"null null"}},
      {"ParseHdr OBX_ParseHdr ST_ParseHdr",
       header,
       {"0; 1 ParseHdr: malloc failed.", "0; 1 ParseHdr: realloc failed.",
        "0; 1 ParseLine: malloc failed.", "1; 1 ParseLine: malloc failed.",
        kSame}},
      header_line("To: a@b", {"1to=\n", kSame}),
      header_line("Subject: s", {}),
      header_line("Received: r", {}),
      header_line("X: y", {}),
      header_line("Date: 16 Nov 1998", {}),
      {"AddCache", cache<false>, {"0 - o"}},
      {"AddCache", cache<true>, {"0 - o"}},
      {"valid8 valid8_type", valid_address, {"-1 Joe <a@b>", kSame}},
      {"cConfig::CONFIGReadData", read_table, {"5 kept 99"}},
      {"InitLineIO", pool_start, {"-1 null"}},
      {"AddToFilePool", pool_entry, {"-1 0"}},
      opening("fileopen",
              [](char* path) { return file_of(fileopen(path, 0, 0)); },
              {"none 0"}),
      opening(
          "filecreate",
          [](char* path) { return file_of(filecreate(path, 0, 0)); },
          {"none 0; 1 configapi: Unable to allocate OBX_FILE object",
           "none 0; 1 configapi: Unable to insert OBX_FILE object to memory "
           "pool"}),
      opening("FileOpen", [](char* path) { return FileOpen(path, 0); },
              {"none 0; 1 configapi: Unable to allocate new file objcet."}),
      opening("FileCreate", FileCreate, {"none 0"}),
      opening("CreateFile",
              [](char* path) { return file_of(CreateFile(path, 1)); },
              {"none 0"}),
  };
}

}  // namespace test
