// What needs no memory.

#include <configapi/internals.h>
#include <configapi/winfile.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdio>
#include <utility>

#include "support/client_test.h"
#include "support/temp_folder.h"
#include "sweep/rows.h"

namespace test {
namespace {

void use_tables(const Out& out) {
  ClearCache();
  AddCache("S", "key", "value", 2);
  AttrRecords values({{1, "cn", "Joe"}});
  char text[64] = "9";
  ldapmod** mods = get_modlist(values.list(), -1);
  char** list = get_list(text);
  unsigned long type = 0;
  CRITICAL_SECTION cs;
  UTC_DATE date{1998, 11, 16, 15, 48, 37, 0, 0, 0};
  UTC_DATE* none = &date;
  out([&] {
    EXPECT_EQ(LookupCache("S", "key", text, sizeof text, &type), 0);
    EXPECT_EQ(ClearCache() + InitCache(), 0);
    EXPECT_EQ(str2ul(text) + get_hash_index(text) / 421, 0U);
    EXPECT_EQ(getBufferFromTable("Options", "LdapServer", text, &type), 0);
    EXPECT_NE(ul2str(1), ul2strflg(1));
    EXPECT_EQ(check_dir(text) + check_label(text), -1);
    EXPECT_EQ(valid8_type(TYPE_REAL, text), -1);
    free_modlist(mods);
    free_getlist(list);
    free_berval(nullptr);
    free_key(nullptr);
    InitializeCriticalSection(&cs);
    EnterCriticalSection(&cs);
    LeaveCriticalSection(&cs);
    DeleteCriticalSection(&cs);
    Terminate822Parser();
    Init822Parser();
    configapi_fini();
    configapi_init();
    EXPECT_EQ(InitDN() + InitDN2(), 0);
    EXPECT_EQ(rfc2UTC(nullptr, &none) + ctime2UTC(nullptr, &none), 0);
    EXPECT_EQ(none, &date);
    EXPECT_EQ(rfc2UTC("no date", &none) + ctime2UTC("no date", &none), 0);
    getzone("EST", &date);
    EXPECT_EQ(GetZoneInt("EST"), date.zone);
    EXPECT_EQ(UTC2rfc(&date, text) + makewkday(&date), 3);
    EXPECT_EQ(cmd_srch("Jan", tbl_month), 0);
    EXPECT_EQ(cmdbsrch("EST", zone_tbl, 64), -500);
    EXPECT_STREQ(rcmd_srch(0, tbl_month), "Jan");
  });
}

void use_addresses(const Out& out) {
  const Text list("A <a@b> (n), c@d");
  RecipTable table{};
  EXPECT_EQ(RecipParse(list, &table, 1), 2U);
  Header822* header = New822Header();
  EXPECT_EQ(ParseLine("To: a@b", header), 1);
  AddrList* to = std::exchange(header->to, nullptr);
  const Text text("c) <@r:a@b>");
  adrLine = text;
  FILE* stream = std::tmpfile();
  std::fputs("body\nFrom a@b Mon Jan  1 10:00:00 1998\n", stream);
  std::rewind(stream);
  long end = -1;
  unsigned lines = 0;
  out([&] {
    Clear_RP(table.first);
    Clear_RT(&table);
    _free_a_l(to);
    Free822Header(header);
    EXPECT_EQ(_SkipComment(), commentPart);
    EXPECT_EQ(adrparse() + adrlex(), 0);
    adrLine = text + 7;
    adrerror(_CollectStr('"'));
    _clean_str(ColToken, 1);
    EXPECT_EQ(ParseBody(stream, &end, &lines), 1);
    EXPECT_EQ(isNextMsgHeader("From a@b Mon Jan  1 10:00:00 1998\n"), 1);
  });
  std::fclose(stream);
}

void use_files(const Out& out) {
  const TempFolder folder;
  const Text path(folder.path("file"));
  const Text line("text\n");
  InitLineIO();
  const int writer = filecreate(path, 0, 1);
  OBX_FILE* second = FileCreate(path);
  const int reader = fileopen(path, 0, 0);
  OBX_FILE* const source = FileOpen(path, 0);
  char* read = nullptr;
  unsigned long done = 0;
  out([&] {
    EXPECT_EQ(putline(writer, line) + outch('c', writer), 2);
    EXPECT_EQ(setfpos(writer, 0) + getfpos(writer), 0);
    EXPECT_EQ(PutLine(second, line) + OutCh(second, 'c'), 2);
    EXPECT_EQ(SetFilePos(second, 0) + GetFilePos(second), 0);
    EXPECT_EQ(getline(reader, &read) + GetLine(source, &read), 2);
    uninch(inch(reader), reader);
    UninCh(source, InCh(source));
    EXPECT_EQ(WriteFile(writer, line, 4, &done, nullptr), 1);
    EXPECT_EQ(SetFilePointer(reader, 0, nullptr, 0), 0);
    EXPECT_EQ(ReadFile(reader, line, 4, &done, nullptr), 1);
    EXPECT_EQ(GetFileSize(reader, nullptr), 6U);
    EXPECT_EQ(SetEndOfFile(writer), 1);
    EXPECT_EQ(GetFromFilePool(thread_file_pool, writer)->fd, writer);
    EXPECT_EQ(f(thread_file_pool->first, writer, 0), 1);
    EXPECT_EQ(fileclose(writer) + CloseHandle(reader), 2);
    EXPECT_EQ(GetLastError(), static_cast<unsigned long>(errno));
    EXPECT_EQ(DelFromFilePool(thread_file_pool, writer), 0);
    EXPECT_EQ(FileClose(source), 1);
    DelOBX_FILE(&second);
    TerminateLineIO();
  });
}

}  // namespace

std::vector<Frugal> frugal_rows() {
  return {
      {"LookupCache ClearCache InitCache get_hash_index str2ul "
       "getBufferFromTable ul2str ul2strflg check_dir check_label valid8_type "
       "free_modlist free_getlist free_berval free_key "
       "InitializeCriticalSection EnterCriticalSection LeaveCriticalSection "
       "DeleteCriticalSection Init822Parser Terminate822Parser configapi_init "
       "configapi_fini InitDN InitDN2 getzone GetZoneInt UTC2rfc makewkday "
       "cmd_srch cmdbsrch rcmd_srch",
       use_tables},
      {"Clear_RP Clear_RT _free_a_l Free822Header _SkipComment adrparse adrlex "
       "adrerror _CollectStr _clean_str ParseBody isNextMsgHeader",
       use_addresses},
      {"putline outch setfpos getfpos PutLine OutCh SetFilePos GetFilePos "
       "getline configapi_getline inch uninch GetLine InCh UninCh WriteFile "
       "ReadFile SetFilePointer GetFileSize SetEndOfFile GetLastError "
       "GetFromFilePool f fileclose CloseHandle DelFromFilePool FileClose "
       "DelOBX_FILE TerminateLineIO",
       use_files},
      {"ldapClient::ldapClient ldapClient::ldapClientBind wait4result "
       "ldapClient::ldapClientCompare ldapClient::ldapClientDelete "
       "ldapClient::srch_free ldapClient::free cConfig::CONFIGRefreshCache "
       "ldapClient::ldapClientUnbind",
       use_directory},
  };
}

}  // namespace test
