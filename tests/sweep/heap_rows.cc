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

std::string text_or_null(const char* text) {
  return text != nullptr ? text : "null";
}

// Texts.

template <char* (*kCall)(char*)>
std::string copy(const Out& out) {
  const Text text("cn=Joe");
  HeapText result;
  out([&] { result.reset(kCall(text)); });
  return text_or_null(result.get());
}

// In a thread of its own, whose buffer is not made yet.
template <char* (ldapClient::*kCall)(char*), bool kOwned>
std::string name(const Out& out) {
  std::string told;
  std::thread([&] {
    ldapClient client;
    const Text address("j@a.b");
    char* result = nullptr;
    out([&] { result = (client.*kCall)(address); });
    told = text_or_null(result);
    if (kOwned) {
      client.free(result);
    }
  }).join();
  return told;
}

std::string list_of_one(const Out& out) {
  const Text text("mail");
  char** list = nullptr;
  out([&] { list = get_list(text); });
  const std::string told = list != nullptr ? list[0] : "null";
  free_getlist(list);
  return told;
}

std::string modifications(const Out& out) {
  AttrRecords values({{1, "cn", "Joe"}, {2, "sn", ""}});
  ldapmod** mods = nullptr;
  out([&] { mods = get_modlist(values.list(), -1); });
  const std::string told = mods != nullptr ? "array" : "null";
  free_modlist(mods);
  return told;
}

template <auto kMake, auto kRelease>
std::string record(const Out& out) {
  decltype(kMake()) made = nullptr;
  out([&] { made = kMake(); });
  const std::string told = made != nullptr ? "record" : "null";
  kRelease(made);
  return told;
}

std::string replaced_text(const Out& out) {
  char* field = nullptr;
  AssignRp("old", &field);
  int result = -1;
  out([&] { result = AssignRp("new", &field); });
  const HeapText owner(field);
  return std::to_string(result) + " " + text_or_null(field);
}

template <int (*kParse)(const char*, UTC_DATE**)>
std::string date(const Out& out) {
  UTC_DATE stale{};
  UTC_DATE* record = &stale;
  int result = -1;
  out([&] {
    result = kParse(kParse == rfc2UTC ? "Mon, 16 Nov 1998 15:48:37 -0500"
                                      : "Mon Nov 16 15:48:37 1998",
                    &record);
  });
  const configapi::HeapPtr<UTC_DATE> owner(record);
  return std::to_string(result) + (record != nullptr ? " date" : " null");
}

// Recipients.

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
  unsigned count = 99;
  out([&] { count = RecipParse(list, &table, 1); });
  std::string told = std::to_string(count) + shown(table);
  Clear_RT(&table);
  return told;
}

std::string table_of_recipients(const Out& out) {
  const Text list("a@b");
  RecipTable* table = nullptr;
  unsigned count = 99;
  out([&] { count = AddParse(list, &table); });
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
  const HeaderFile file(kMessage);
  const HeaderOwner header(New822Header());
  LogCapture log;
  unsigned lines = 0;
  unsigned status_line = 0;
  int result = -1;
  out([&] {
    result = ParseHdr(file.handle(), header.get(), &lines, &status_line);
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
    int code = 99;
    out([&] { code = ParseLine(line, header.get()); });
    return std::to_string(code) + first_line(log) + test::tell(*header);
  };
  return {"ParseLine", tell, failures};
}

// Settings.

// What is cached, and the number of what is not.
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
  int result = -1;
  out([&] { result = AddCache("S", "key", "value", 2); });
  std::string told = std::to_string(result) + cached("key") + cached("other");
  ClearCache();
  return told;
}

std::string valid_address(const Out& out) {
  const Text section("Options");
  const Text key("TryReverseSeparator");
  const Text address("Joe <a@b>");
  int result = 99;
  out([&] { result = valid8(section, key, address); });
  return std::to_string(result) + " " + static_cast<char*>(address);
}

std::string read_table(const Out& out) {
  cConfig config;
  char value[16] = "kept";
  unsigned long type = 99;
  int result = -1;
  out([&] {
    result = config.CONFIGReadData("Options", "LdapServer", nullptr, value,
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
  int result = 99;
  out([&] { result = InitLineIO(); });
  return std::to_string(result) + (thread_file_pool != nullptr ? "" : " null");
}

std::string pool_entry(const Out& out) {
  FilePool pool{};
  OBX_FILE* file = NewOBX_FILE();
  int result = 99;
  out([&] { result = AddToFilePool(&pool, file); });
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
    OBX_FILE* file = nullptr;
    out([&] { file = open(path); });
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
  return {
      {"dn_check", copy<dn_check>, {"null"}},
      {"parse_keyname", copy<parse_keyname>, {"null"}},
      {"get_list", list_of_one, {"null"}},
      {"get_modlist", modifications, {"null"}},
      // What a recipient's text that no name has needs is not missed.
      {"ldapClient::GetSuffix",
       name<&ldapClient::GetSuffix, true>,
       {"null", kSame}},
      {"ldapClient::Mail2DN",
       name<&ldapClient::Mail2DN, true>,
       {"null", kSame}},
      {"ldapClient::CreateDNFromMail",
       name<&ldapClient::CreateDNFromMail, false>,
       {"null", kSame}},
      {"New822Header", record<New822Header, Free822Header>, {"null"}},
      {"AllocateRecipient", record<AllocateRecipient, std::free>, {"null"}},
      {"AssignRp", replaced_text, {"0 null"}},
      {"rfc2UTC", date<rfc2UTC>, {"0 null"}},
      {"ctime2UTC", date<ctime2UTC>, {"0 null"}},
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
      {"NewOBX_FILE",
       record<NewOBX_FILE, [](OBX_FILE* file) { DelOBX_FILE(&file); }>,
       {"null"}},
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
