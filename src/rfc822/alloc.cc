// The records of parsed headers, and the locks of the two parsers.

#include <configapi/internals.h>
#include <configapi/rfc822.h>

#include <cstdlib>
#include <utility>

#include "base/heap_text.h"

namespace configapi {
namespace {

constexpr AddrList* Header822::*kAddressFields[] = {
    &Header822::to,      &Header822::resentTo,
    &Header822::cc,      &Header822::resentCc,
    &Header822::bcc,     &Header822::resentBcc,
    &Header822::from,    &Header822::resentFrom,
    &Header822::replyTo, &Header822::returnReceiptTo,
};

constexpr char* Header822::*kTextFields[] = {
    &Header822::subject,     &Header822::sender,
    &Header822::messageId,   &Header822::resentMessageId,
    &Header822::inReplyTo,   &Header822::references,
    &Header822::returnPath,  &Header822::status,
    &Header822::envelope,    &Header822::mimeVersion,
    &Header822::contentType, &Header822::contentTransferEncoding,
    &Header822::contentId,   &Header822::contentDescription,
};

constexpr char* Recipient::*kRecipientTexts[] = {
    &Recipient::canon,   &Recipient::orig,  &Recipient::phrase,
    &Recipient::comment, &Recipient::local, &Recipient::domain,
};

// A field forgotten above would never be released.
static_assert(sizeof(Header822) ==
              (std::size(kAddressFields) + std::size(kTextFields) + 3) *
                  sizeof(void*));
static_assert(sizeof(Recipient) ==
              (std::size(kRecipientTexts) + 1) * sizeof(void*));

void free_texts(TextList* list) {
  while (list != nullptr) {
    const HeapPtr<TextList> node(list);
    std::free(node->text);
    list = node->next;
  }
}

void free_date(HdrDate* date) {
  if (date != nullptr) {
    std::free(date->text);
    std::free(date->utc);
    std::free(date);
  }
}

}  // namespace
}  // namespace configapi

extern "C" {

CRITICAL_SECTION csRecipParse;
CRITICAL_SECTION csParseHdr;

int R_to = 0;
int R_cc = 0;
int R_bcc = 0;
int R_resent_to = 0;
int R_resent_cc = 0;
int R_resent_bcc = 0;
int R_reply_to = 0;
int R_sender = 0;
int R_ret_receipt = 0;

Header822* New822Header() {
  return configapi::heap_record<Header822>().release();
}

void Free822Header(Header822* hdr) {
  if (hdr == nullptr) {
    return;
  }
  for (const auto field : configapi::kAddressFields) {
    _free_a_l(hdr->*field);
  }
  for (const auto field : configapi::kTextFields) {
    std::free(hdr->*field);
  }
  configapi::free_texts(hdr->received);
  configapi::free_texts(hdr->other);
  configapi::free_date(hdr->date);
  std::free(hdr);
}

// NOLINTNEXTLINE(bugprone-reserved-identifier,cert-dcl37-c): interface name
void _free_a_l(AddrList* list) {
  while (list != nullptr) {
    const configapi::HeapPtr<AddrList> node(list);
    std::free(node->text);
    Clear_RT(node->recips);
    std::free(node->recips);
    list = node->next;
  }
}

void Clear_RT(RecipTable* table) {
  if (table == nullptr) {
    return;
  }
  Recipient* next = table->first;
  *table = RecipTable{};
  while (next != nullptr) {
    const configapi::HeapPtr<Recipient> recipient(next);
    next = recipient->next;
    Clear_RP(recipient.get());
  }
}

void Clear_RP(Recipient* rec) {
  if (rec == nullptr) {
    return;
  }
#pragma GCC unroll 6  // of 12 instructions for a text, 4 remain
  for (const auto text : configapi::kRecipientTexts) {
    std::free(std::exchange(rec->*text, nullptr));
  }
}

Recipient* AllocateRecipient() {
  return configapi::heap_record<Recipient>().release();
}

void Init822Parser() {
  InitializeCriticalSection(&csRecipParse);
  InitializeCriticalSection(&csParseHdr);
}

void Terminate822Parser() {
  DeleteCriticalSection(&csRecipParse);
  DeleteCriticalSection(&csParseHdr);
}

}  // extern "C"
