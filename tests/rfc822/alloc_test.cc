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

template <typename T>
T* record() {
  return static_cast<T*>(std::calloc(1, sizeof(T)));
}

template <typename T>
bool is_empty(const T& record) {
  const T empty{};
  return std::memcmp(&record, &empty, sizeof record) == 0;
}

Recipient* recipient_with_texts() {
  Recipient* recipient = AllocateRecipient();
  EXPECT_TRUE(is_empty(*recipient));
  for (char** text = &recipient->canon; text <= &recipient->domain; ++text) {
    *text = strdup("text");
  }
  return recipient;
}

AddrList* list_node(AddrList* next) {
  auto* node = record<AddrList>();
  node->text = strdup("list");
  node->recips = record<RecipTable>();
  node->recips->first = recipient_with_texts();
  node->recips->last = node->recips->first->next = recipient_with_texts();
  node->recips->count = 2;
  node->next = next;
  return node;
}

TextList* text_node(TextList* next) {
  auto* node = record<TextList>();
  node->text = next != nullptr ? strdup("text") : nullptr;
  node->next = next;
  return node;
}

TEST(HeaderRecord, IsReleasedWithEveryField) {
  Header822* header = New822Header();
  EXPECT_TRUE(is_empty(*header));
  for (AddrList** field = &header->to; field <= &header->returnReceiptTo;
       ++field) {
    *field = list_node(list_node(record<AddrList>()));
  }
  for (char** field = &header->subject; field <= &header->contentDescription;
       ++field) {
    *field = strdup("value");
  }
  header->received = text_node(text_node(nullptr));
  header->other = text_node(text_node(nullptr));
  header->date = record<HdrDate>();
  Free822Header(header);
  Free822Header(nullptr);
  _free_a_l(nullptr);
}

TEST(HeaderRecord, ReportsAnExhaustedHeap) {
  const test::AllocFault fault(1);
  EXPECT_EQ(New822Header(), nullptr);
  const test::AllocFault another(1);
  EXPECT_EQ(AllocateRecipient(), nullptr);
}

TEST(Recipients, AreReleasedOnce) {
  AddrList* node = list_node(nullptr);
  Recipient* first = node->recips->first;
  Clear_RP(first);
  Clear_RP(first);
  EXPECT_EQ(first->next, node->recips->last);
  EXPECT_EQ(first->canon, nullptr);
  Clear_RT(node->recips);
  EXPECT_TRUE(is_empty(*node->recips));
  Clear_RT(node->recips);
  _free_a_l(node);
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
