// What these tests leave behind, the sanitizer's leak check reports.

#include <configapi/cs.h>
#include <configapi/internals.h>
#include <configapi/rfc822.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <thread>

namespace {

// Hosts compiled against the records know their fields by place.
static_assert(sizeof(Header822) == 27 * sizeof(void*));
static_assert(offsetof(Header822, returnReceiptTo) == 9 * sizeof(void*));
static_assert(offsetof(Header822, subject) == 10 * sizeof(void*));
static_assert(offsetof(Header822, contentDescription) == 23 * sizeof(void*));
static_assert(offsetof(Header822, date) == 26 * sizeof(void*));
static_assert(offsetof(RecipTable, count) == 2 * sizeof(void*));
static_assert(sizeof(Recipient) == 7 * sizeof(void*));
static_assert(sizeof(HdrName) == sizeof(void*) + 2 * sizeof(int));
static_assert(sizeof(R_to) == 4);

template <typename T>
bool is_empty(const T& record) {
  const T empty{};
  // Padding is 0 too.
  // NOLINTNEXTLINE(bugprone-suspicious-memory-comparison,cert-*)
  return std::memcmp(&record, &empty, sizeof record) == 0;
}

TEST(HeaderRecord, MayHoldWhatNoParseLeaves) {
  Header822* header = New822Header();
  EXPECT_TRUE(is_empty(*header));
  const auto list = [] {
    auto* node = static_cast<AddrList*>(std::calloc(1, sizeof(AddrList)));
    node->text = strdup("list");
    return node;
  };
  header->to = list();
  header->to->next = list();
  header->returnReceiptTo = list();
  header->received = static_cast<TextList*>(std::calloc(1, sizeof(TextList)));
  header->date = static_cast<HdrDate*>(std::calloc(1, sizeof(HdrDate)));
  Free822Header(header);
  Free822Header(nullptr);
  _free_a_l(nullptr);
}

TEST(Recipients, AreReleasedOnce) {
  RecipTable table{};
  char list[] = "A <a@b> (n), c@d";
  EXPECT_EQ(RecipParse(list, &table, 1), 2U);
  Clear_RP(table.first);
  Clear_RP(table.first);
  EXPECT_EQ(table.first->next, table.last);
  EXPECT_EQ(table.first->canon, nullptr);
  Clear_RT(&table);
  EXPECT_TRUE(is_empty(table));
  Clear_RT(&table);
  Clear_RT(nullptr);
  Clear_RP(nullptr);
}

TEST(ParserLocks, AreReadyOnceTheLibraryIsLoaded) {
  EnterCriticalSection(&csParseHdr);
  EnterCriticalSection(&csRecipParse);
  EnterCriticalSection(&csRecipParse);
  std::thread([] {
    EXPECT_EQ(pthread_mutex_trylock(&csParseHdr.mutex), EBUSY);
    EXPECT_EQ(pthread_mutex_trylock(&csRecipParse.mutex), EBUSY);
  }).join();
  LeaveCriticalSection(&csRecipParse);
  LeaveCriticalSection(&csRecipParse);
  LeaveCriticalSection(&csParseHdr);
  std::thread([] {
    EXPECT_EQ(pthread_mutex_trylock(&csRecipParse.mutex), 0);
    pthread_mutex_unlock(&csRecipParse.mutex);
  }).join();
}

}  // namespace
