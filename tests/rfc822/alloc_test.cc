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
#include <utility>

#include "support/alloc_fault.h"

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

Recipient* recipient_with_texts() {
  Recipient* recipient = AllocateRecipient();
  recipient->canon = strdup("a@b");
  recipient->orig = strdup("A <a@b> (note)");
  recipient->phrase = strdup("A");
  recipient->comment = strdup("note");
  recipient->local = strdup("a");
  recipient->domain = strdup("b");
  return recipient;
}

void append(RecipTable* table, Recipient* recipient) {
  (table->count == 0 ? table->first : table->last->next) = recipient;
  table->last = recipient;
  ++table->count;
}

AddrList* list_node(AddrList* next) {
  auto* node = static_cast<AddrList*>(std::calloc(1, sizeof(AddrList)));
  node->text = strdup("list");
  node->recips = static_cast<RecipTable*>(std::calloc(1, sizeof(RecipTable)));
  append(node->recips, recipient_with_texts());
  node->next = next;
  return node;
}

TextList* text_node(TextList* next) {
  auto* node = static_cast<TextList*>(std::calloc(1, sizeof(TextList)));
  node->text = strdup("text");
  node->next = next;
  return node;
}

bool all_zero(const void* record, std::size_t size) {
  const auto* bytes = static_cast<const char*>(record);
  return size == 0 ||
         (*bytes == 0 && std::memcmp(bytes, bytes + 1, size - 1) == 0);
}

TEST(HeaderRecord, IsMadeEmpty) {
  Header822* header = New822Header();
  EXPECT_TRUE(all_zero(header, sizeof *header));
  Free822Header(header);
  Recipient* recipient = AllocateRecipient();
  EXPECT_TRUE(all_zero(recipient, sizeof *recipient));
  std::free(recipient);
}

TEST(HeaderRecord, IsReleasedWithEveryField) {
  Header822* header = New822Header();
  for (AddrList** field = &header->to; field <= &header->returnReceiptTo;
       ++field) {
    *field = list_node(list_node(nullptr));
  }
  for (char** field = &header->subject; field <= &header->contentDescription;
       ++field) {
    *field = strdup("value");
  }
  header->received = text_node(text_node(nullptr));
  header->other = text_node(text_node(nullptr));
  std::free(std::exchange(header->other->next->text, nullptr));
  header->date = static_cast<HdrDate*>(std::calloc(1, sizeof(HdrDate)));
  header->date->text = static_cast<char*>(std::calloc(1, 64));
  header->date->utc = static_cast<UTC_DATE*>(std::calloc(9, 4));
  Free822Header(header);

  Header822* undated = New822Header();
  undated->date = static_cast<HdrDate*>(std::calloc(1, sizeof(HdrDate)));
  Free822Header(undated);
}

TEST(HeaderRecord, MayBeNullForEveryRelease) {
  Free822Header(nullptr);
  _free_a_l(nullptr);
  Clear_RT(nullptr);
  Clear_RP(nullptr);
}

TEST(HeaderRecord, ReportsAnExhaustedHeap) {
  const test::AllocFault fault(1);
  EXPECT_EQ(New822Header(), nullptr);
  EXPECT_TRUE(test::AllocFault::happened());
  const test::AllocFault another(1);
  EXPECT_EQ(AllocateRecipient(), nullptr);
}

TEST(AddressList, MayLackTableAndText) {
  AddrList* bare = list_node(nullptr);
  Clear_RT(bare->recips);
  std::free(bare->recips);
  std::free(bare->text);
  *bare = AddrList{};
  _free_a_l(list_node(bare));
}

TEST(RecipientTable, IsEmptyAfterItWasCleared) {
  RecipTable table{};
  Clear_RT(&table);
  EXPECT_TRUE(all_zero(&table, sizeof table));
  for (int i = 0; i < 3; ++i) {
    append(&table, recipient_with_texts());
  }
  Clear_RT(&table);
  EXPECT_EQ(table.first, nullptr);
  EXPECT_EQ(table.last, nullptr);
  EXPECT_EQ(table.count, 0U);
}

TEST(RecipientTexts, AreReleasedOnce) {
  Recipient* recipient = recipient_with_texts();
  Recipient neighbour{};
  recipient->next = &neighbour;
  Clear_RP(recipient);
  Clear_RP(recipient);
  EXPECT_EQ(recipient->next, &neighbour);
  recipient->next = nullptr;
  EXPECT_TRUE(all_zero(recipient, sizeof *recipient));
  std::free(recipient);
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
    EnterCriticalSection(&csParseHdr);
    EnterCriticalSection(&csRecipParse);
    LeaveCriticalSection(&csRecipParse);
    LeaveCriticalSection(&csParseHdr);
  }).join();
}

}  // namespace
