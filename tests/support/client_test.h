// A host's client on the private directory server.

#ifndef CONFIGAPI_TESTS_CLIENT_TEST_H_
#define CONFIGAPI_TESTS_CLIENT_TEST_H_

#include <configapi/config.h>
#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "support/client_text.h"
#include "support/directory.h"
#include "support/log_capture.h"

namespace test {

using Lines = std::vector<std::string>;

struct AttrValue {
  int op;  // for modify: 0 adds, 1 deletes, 2 replaces
  std::string name;
  std::string value;
};

// The records as the list that add and modify take.
class AttrRecords {
 public:
  explicit AttrRecords(const std::vector<AttrValue>& values)
      : records_(values.size() + 1) {
    for (std::size_t i = 0; i < values.size(); ++i) {
      records_[i].op = values[i].op;
      // Without room for a NUL a full field has none.
      values[i].name.copy(records_[i].name, sizeof(attrval::name));
      values[i].value.copy(records_[i].value, sizeof(attrval::value));
      records_[i].next = &records_[i + 1];
    }
  }
  attrval* list() { return records_.data(); }

 private:
  std::vector<attrval> records_;
};

// Connected and bound as the gateway; what is logged is captured.
class ClientTest : public DirectoryTest {
 protected:
  void SetUp() override {
    DirectoryTest::SetUp();
    if (!IsSkipped() && !HasFailure()) {
      ASSERT_EQ(connect(client), 0);
      ASSERT_EQ(bind(client, directory().bind_dn(), directory().password()), 0);
    }
  }
  void TearDown() override { client.ldapClientUnbind(); }

  int connect(ldapClient& to) const {
    return to.ldapClientConnect(Text(directory().host()), directory().port());
  }
  static int bind(ldapClient& as, std::string_view dn, std::string_view word) {
    return as.ldapClientBind(Text(dn), Text(word));
  }

  // An entry of the class of all sections, with these values.
  int add(std::string_view dn, std::vector<AttrValue> values = {}) {
    values.push_back({0, "objectclass", "qxconfig"});
    return client.ldapClientAdd(Text(dn), AttrRecords(values).list());
  }
  int modify(std::string_view dn, const std::vector<AttrValue>& values) {
    return client.ldapClientModify(Text(dn), AttrRecords(values).list());
  }

  // What the filter finds below the base: each entry's name, and its values of
  // the one attribute.
  Lines find(std::string_view base, int scope, std::string_view filter,
             std::string_view attribute, int option = 0) {
    const Text type(attribute);
    char* types[] = {type, nullptr};
    SearchReq* const found = client.ldapClientSearch(Text(base), scope, option,
                                                     Text(filter), types, &rc);
    Lines lines;
    for (const SearchReq* entry = found;
         entry != nullptr && entry->next != nullptr; entry = entry->next) {
      lines.emplace_back(entry->dn);
      for (const attrval* value = entry->attrs; value->next != nullptr;
           value = value->next) {
        lines.push_back(std::string(value->name) + ": " + value->value);
      }
    }
    client.srch_free(found);
    return lines;
  }

  // What was logged since the last look: "level text; level text", where the
  // source is told unless it is the client.
  std::string logged() {
    constexpr std::string_view kSource = "LDAP Client API: ";
    std::string all;
    for (std::string& line : log.take()) {
      const std::size_t at = line.find(kSource);
      all += (all.empty() ? "" : "; ") +
             (at == 2 ? line.erase(at, kSource.size()) : line);
    }
    return all;
  }

  cConfig client;
  LogCapture log;
  int rc = -1;  // of the last search or read
};

}  // namespace test

#endif  // CONFIGAPI_TESTS_CLIENT_TEST_H_
