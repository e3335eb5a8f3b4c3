#include "ldap/fake_ldap.h"

#include <gtest/gtest.h>
#include <ldap.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <memory>
#include <set>
#include <string_view>
#include <utility>

#include "ldap/counted_new.h"

// The library's opaque types.
struct ldap {
  int deref = -1;
  int result_code = -99;
};

struct ldapmsg {
  test::FakeAnswer answer;
  const test::FakeEntry* entry = nullptr;  // null in the result itself
  std::vector<ldapmsg> messages;           // one for each entry
  std::size_t next = 0;  // in an entry's message: the place of the next one
  ldapmsg* whole = nullptr;
};

struct berelement {
  std::size_t next = 0;
};

namespace {

using test::FakeAnswer;
using test::FakeLdap;

FakeLdap* fake = nullptr;

std::set<const void*>& live() {
  static std::set<const void*> pointers;
  return pointers;
}

template <typename T>
T* hand_out(T* pointer) {
  live().insert(pointer);
  return pointer;
}

// Whether there is something to release.
bool take_back(const void* pointer, const char* what) {
  const bool known = live().erase(pointer) == 1;
  EXPECT_TRUE(known) << what << " released twice, or never handed out";
  return known;
}

void expect_live(const void* pointer, const char* function) {
  EXPECT_TRUE(live().contains(pointer)) << function << ": dead handle";
}

std::string text_or(const char* text) {
  return text == nullptr ? "-" : text;
}

char* new_text(std::string_view text) {
  char* copy = new char[text.size() + 1];
  std::memcpy(copy, text.data(), text.size());
  copy[text.size()] = '\0';
  return copy;
}

// "modify cn=Joe: delete cn=Joe, add sn=one=two"
void record_update(const char* name, const char* dn, LDAPMod** mods) {
  constexpr std::array kOperations = {"add", "delete", "replace"};
  std::string call = std::string(name) + " " + text_or(dn) + ":";
  for (LDAPMod** slot = mods; *slot != nullptr; ++slot) {
    const LDAPMod& mod = **slot;
    EXPECT_TRUE((mod.mod_op & LDAP_MOD_BVALUES) != 0);
    call += slot == mods ? " " : ", ";
    call += kOperations.at(
        static_cast<std::size_t>(mod.mod_op & ~LDAP_MOD_BVALUES));
    call += " " + std::string(mod.mod_type);
    for (berval** value = mod.mod_bvalues; *value != nullptr; ++value) {
      call += "=" + std::string((*value)->bv_val, (*value)->bv_len);
    }
  }
  fake->record(std::move(call));
}

int next_code() {
  if (fake->codes.empty()) {
    return LDAP_SUCCESS;
  }
  const int code = fake->codes.front();
  fake->codes.pop_front();
  return code;
}

int search(LDAP* ld, const char* base, int scope, const char* filter,
           char** attrs, int attrsonly, const timeval* limit,
           LDAPMessage** result) {
  expect_live(ld, "search");
  EXPECT_EQ(attrsonly, 0);
  std::string call = "search " + text_or(base) + " " + std::to_string(scope) +
                     " deref=" + std::to_string(ld->deref) + " " +
                     text_or(filter);
  for (char** type = attrs; type != nullptr && *type != nullptr; ++type) {
    call += " +" + std::string(*type);
  }
  if (limit != nullptr) {
    call += " within " + std::to_string(limit->tv_sec) + "." +
            std::to_string(limit->tv_usec);
  }
  fake->record(std::move(call));

  FakeAnswer answer;
  if (!fake->searches.empty()) {
    answer = std::move(fake->searches.front());
    fake->searches.pop_front();
  }
  const int code = answer.code;
  if (answer.has_result) {
    auto* message =
        hand_out(new ldapmsg{std::move(answer), nullptr, {}, 0, nullptr});
    for (const test::FakeEntry& entry : message->answer.entries) {
      message->messages.push_back(
          {{}, &entry, {}, message->messages.size() + 1, message});
    }
    *result = message;
  }
  return code;
}

char* next_attribute(LDAP* ld, const ldapmsg* message, berelement* element) {
  const auto& attributes = message->entry->attributes;
  if (element->next == attributes.size()) {
    if (message->whole->answer.end_code != 0) {
      ld->result_code = message->whole->answer.end_code;
    }
    return nullptr;
  }
  return hand_out(new_text(attributes[element->next++].type));
}

}  // namespace

namespace test {

FakeLdap::FakeLdap() {
  live().clear();
  fake = this;
}

FakeLdap::~FakeLdap() {
  fake = nullptr;
}

std::vector<std::string> FakeLdap::take_calls() {
  return std::exchange(calls, {});
}

void FakeLdap::record(std::string call) {
  calls.push_back(std::move(call));
}

std::size_t FakeLdap::outstanding() {
  return live().size();
}

}  // namespace test

extern "C" {

char ber_pvt_opt_on = 1;

LDAP* ldap_open(const char* host, int port) {
  const test::Uncounted uncounted;
  fake->record("open " + text_or(host) + " " + std::to_string(port));
  EXPECT_EQ(errno, 0) << "what an earlier call left would be logged";
  if (fake->open_errno != 0) {
    errno = fake->open_errno;
    return nullptr;
  }
  return hand_out(new ldap);
}

int ldap_set_option(LDAP* ld, int option, const void* value) {
  const test::Uncounted uncounted;
  expect_live(ld, "ldap_set_option");
  if (option == LDAP_OPT_DEREF) {
    ld->deref = *static_cast<const int*>(value);
  } else if (option == LDAP_OPT_RESULT_CODE) {
    ld->result_code = *static_cast<const int*>(value);
  } else if (option == LDAP_OPT_PROTOCOL_VERSION) {
    fake->record("version " + std::to_string(*static_cast<const int*>(value)));
  } else if (option == LDAP_OPT_RESTART) {
    fake->record(value == LDAP_OPT_ON ? "restart on" : "restart off");
  } else {
    ADD_FAILURE() << "option " << option;
  }
  return LDAP_OPT_SUCCESS;
}

int ldap_get_option(LDAP* ld, int option, void* value) {
  expect_live(ld, "ldap_get_option");
  EXPECT_EQ(option, LDAP_OPT_RESULT_CODE);
  *static_cast<int*>(value) = ld->result_code;
  return LDAP_OPT_SUCCESS;
}

int ldap_enable_cache(LDAP* ld, long seconds, long bytes) {
  expect_live(ld, "ldap_enable_cache");
  fake->record("enable_cache " + std::to_string(seconds) + " " +
               std::to_string(bytes));
  return fake->cache_code;
}

int ldap_simple_bind(LDAP* ld, const char* dn, const char* password) {
  expect_live(ld, "ldap_simple_bind");
  fake->record("bind " + text_or(dn) + " " + text_or(password));
  return fake->bind_id;
}

int ldap_result(LDAP* ld, int id, int all, timeval* limit,
                LDAPMessage** result) {
  expect_live(ld, "ldap_result");
  EXPECT_EQ(all, LDAP_MSG_ONE);
  fake->record("result " + std::to_string(id) + " within " +
               std::to_string(limit->tv_sec) + "." +
               std::to_string(limit->tv_usec));
  *result = fake->result_type > 0
                ? hand_out(new ldapmsg{{}, nullptr, {}, 0, nullptr})
                : nullptr;
  return fake->result_type;
}

int ldap_result2error(LDAP* ld, LDAPMessage* result, int release) {
  expect_live(ld, "ldap_result2error");
  if (release != 0) {
    ldap_msgfree(result);
  }
  return fake->bind_code;
}

int ldap_abandon(LDAP* ld, int id) {
  expect_live(ld, "ldap_abandon");
  fake->record("abandon " + std::to_string(id));
  return 0;
}

int ldap_unbind(LDAP* ld) {
  fake->record("unbind");
  if (take_back(ld, "connection")) {
    delete ld;
  }
  return LDAP_SUCCESS;
}

int ldap_search_s(LDAP* ld, const char* base, int scope, const char* filter,
                  char** attrs, int attrsonly, LDAPMessage** result) {
  const test::Uncounted uncounted;
  return search(ld, base, scope, filter, attrs, attrsonly, nullptr, result);
}

int ldap_search_st(LDAP* ld, const char* base, int scope, const char* filter,
                   char** attrs, int attrsonly, timeval* limit,
                   LDAPMessage** result) {
  const test::Uncounted uncounted;
  return search(ld, base, scope, filter, attrs, attrsonly, limit, result);
}

int ldap_count_entries(LDAP* ld, LDAPMessage* result) {
  expect_live(ld, "ldap_count_entries");
  expect_live(result, "ldap_count_entries");
  return result->answer.countable ? static_cast<int>(result->messages.size())
                                  : -1;
}

LDAPMessage* ldap_first_entry(LDAP* ld, LDAPMessage* result) {
  expect_live(ld, "ldap_first_entry");
  expect_live(result, "ldap_first_entry");
  return result->messages.empty() ? nullptr : result->messages.data();
}

LDAPMessage* ldap_next_entry(LDAP* ld, LDAPMessage* message) {
  expect_live(ld, "ldap_next_entry");
  expect_live(message->whole, "ldap_next_entry");
  auto& messages = message->whole->messages;
  return message->next < messages.size() ? &messages[message->next] : nullptr;
}

char* ldap_get_dn(LDAP* ld, LDAPMessage* message) {
  const test::Uncounted uncounted;
  expect_live(ld, "ldap_get_dn");
  const auto& dn = message->entry->dn;
  return dn ? hand_out(new_text(*dn)) : nullptr;
}

char* ldap_first_attribute(LDAP* ld, LDAPMessage* message,
                           BerElement** element) {
  const test::Uncounted uncounted;
  expect_live(ld, "ldap_first_attribute");
  if (message->entry->attributes.empty()) {
    return nullptr;  // no element either, like the library
  }
  *element = hand_out(new berelement);
  return next_attribute(ld, message, *element);
}

char* ldap_next_attribute(LDAP* ld, LDAPMessage* message, BerElement* element) {
  const test::Uncounted uncounted;
  expect_live(ld, "ldap_next_attribute");
  expect_live(element, "ldap_next_attribute");
  return next_attribute(ld, message, element);
}

// The types of a fake entry differ, so the first of that name is meant.
char** ldap_get_values(LDAP* ld, LDAPMessage* message, const char* type) {
  const test::Uncounted uncounted;
  expect_live(ld, "ldap_get_values");
  for (const test::FakeAttribute& attribute : message->entry->attributes) {
    if (attribute.type == type && !attribute.values.empty()) {
      char** values = hand_out(new char*[attribute.values.size() + 1]());
      for (std::size_t i = 0; i < attribute.values.size(); ++i) {
        values[i] = new_text(attribute.values[i]);
      }
      return values;
    }
  }
  return nullptr;
}

void ldap_value_free(char** values) {
  if (!take_back(values, "values")) {
    return;
  }
  for (char** value = values; *value != nullptr; ++value) {
    delete[] * value;
  }
  delete[] values;
}

void ldap_memfree(void* text) {
  if (take_back(text, "text")) {
    delete[] static_cast<char*>(text);
  }
}

void ber_free(BerElement* element, int release_buffer) {
  EXPECT_EQ(release_buffer, 0);
  if (take_back(element, "element")) {
    delete element;
  }
}

int ldap_msgfree(LDAPMessage* result) {
  if (take_back(result, "result")) {
    delete result;
  }
  return 0;
}

int ldap_add_s(LDAP* ld, const char* dn, LDAPMod** mods) {
  const test::Uncounted uncounted;
  expect_live(ld, "ldap_add_s");
  record_update("add", dn, mods);
  return next_code();
}

int ldap_modify_s(LDAP* ld, const char* dn, LDAPMod** mods) {
  const test::Uncounted uncounted;
  expect_live(ld, "ldap_modify_s");
  record_update("modify", dn, mods);
  return next_code();
}

int ldap_delete_s(LDAP* ld, const char* dn) {
  expect_live(ld, "ldap_delete_s");
  fake->record("delete " + text_or(dn));
  return next_code();
}

int ldap_modrdn_s(LDAP* ld, const char* dn, const char* rdn) {
  const test::Uncounted uncounted;
  expect_live(ld, "ldap_modrdn_s");
  fake->record("modrdn " + text_or(dn) + " to " + text_or(rdn));
  return next_code();
}

int ldap_compare_s(LDAP* ld, const char* dn, const char* type,
                   const char* value) {
  expect_live(ld, "ldap_compare_s");
  fake->record("compare " + text_or(dn) + " " + text_or(type) + " " +
               text_or(value));
  return next_code();
}

}  // extern "C"
