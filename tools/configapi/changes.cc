#include "changes.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <deque>
#include <initializer_list>
#include <new>
#include <random>
#include <thread>
#include <utility>

#include "base/signals_later.h"
#include "ldap/escape.h"
#include "setting_row.h"

namespace configapi::tool {
namespace {

using State = ChangedEntry::State;

// OpenLDAP's: the request is examined, and not carried out.
constexpr const char* kNoOperation = "1.3.6.1.4.1.4203.666.5.2";

// --- Requests ---------------------------------------------------------------

// A list of modifications in the LDAP library's form, which points at texts of
// the caller's.
class Modifications {
 public:
  void add(int operation, const char* attribute, const Values& values) {
    if (values.empty()) {
      return;
    }
    std::deque<berval>& bytes = bytes_.emplace_back();
    std::vector<berval*>& list = lists_.emplace_back();
    for (const std::string& value : values) {
      list.push_back(&bytes.emplace_back(
          berval{value.size(), const_cast<char*>(value.data())}));  // NOLINT
    }
    list.push_back(nullptr);
    LDAPMod& mod = mods_.emplace_back();
    mod.mod_op = operation | LDAP_MOD_BVALUES;
    mod.mod_type = const_cast<char*>(attribute);  // NOLINT
    mod.mod_bvalues = list.data();
    pointers_.insert(pointers_.end() - 1, &mod);
  }

  [[nodiscard]] LDAPMod** get() { return pointers_.data(); }

 private:
  std::deque<std::deque<berval>> bytes_;
  std::deque<std::vector<berval*>> lists_;
  std::deque<LDAPMod> mods_;
  std::vector<LDAPMod*> pointers_ = {nullptr};
};

LinkOwner<LDAPControl> control(const char* oid, berval value) {
  LDAPControl* made = nullptr;
  if (ldap_control_create(oid, 1, &value, 1, &made) != LDAP_SUCCESS) {
    throw std::bad_alloc();
  }
  return LinkOwner<LDAPControl>(made);
}

// What the setting was when it was read (RFC 4515).
std::string assertion_of(const Difference& difference) {
  const std::string key = difference.setting.key->key;
  if (difference.before.empty()) {
    return "(!(" + key + "=*))";
  }
  std::string filter;
  for (const std::string& value : difference.before) {
    filter +=
        "(" + key + ":caseExactMatch:=" + escape_filter_value(value) + ")";
  }
  return filter;
}

LinkOwner<LDAPControl> assertion(const Link& link, std::string filter) {
  LDAPControl* made = nullptr;
  const int code =
      ldap_create_assertion_control(link.ld(), filter.data(), 1, &made);
  if (code != LDAP_SUCCESS) {
    throw link.failure("an assertion", code);
  }
  return LinkOwner<LDAPControl>(made);
}

// The number of its last change says all, also that nobody has added a value.
LinkOwner<LDAPControl> assertion(const Link& link, const ChangedEntry& entry) {
  if (!entry.csn.empty()) {
    return assertion(link, "(entryCSN=" + escape_filter_value(entry.csn) + ")");
  }
  std::string filter = "(&";
  for (const Difference& difference : entry.differences) {
    filter += assertion_of(difference);
  }
  return assertion(link, filter + ")");
}

const std::string& class_attribute() {
  static const std::string name = "objectClass";
  return name;
}

const Values& section_class() {
  static const Values value = {"qxconfig"};
  return value;
}

// The differences. They must outlive the result.
void add_differences(const ChangedEntry& entry, Modifications* mods) {
  for (const Difference& difference : entry.differences) {
    const char* key = difference.setting.key->key;
    mods->add(LDAP_MOD_DELETE, key, difference.before);
    mods->add(LDAP_MOD_ADD, key, difference.after);
  }
}

// Each sends the entry's request, with one more control or none, and returns a
// code; on success *id is the request's.

int send_add(const Link& link, const ChangedEntry& entry, LDAPControl* further,
             int* id) {
  Modifications mods;
  mods.add(LDAP_MOD_ADD, class_attribute().c_str(), section_class());
  add_differences(entry, &mods);
  std::array<LDAPControl*, 2> controls = {further, nullptr};
  return ldap_add_ext(link.ld(), entry.dn.c_str(), mods.get(), controls.data(),
                      nullptr, id);
}

int send_modify(const Link& link, const ChangedEntry& entry,
                const std::string& dn, LDAPControl* further, int* id) {
  Modifications mods;
  add_differences(entry, &mods);
  const auto as_read = assertion(link, entry);
  std::array<LDAPControl*, 3> controls = {as_read.get(), further, nullptr};
  return ldap_modify_ext(link.ld(), dn.c_str(), mods.get(), controls.data(),
                         nullptr, id);
}

// Waits for the answer to a request and returns its code; the answer itself is
// the caller's if wanted.
int answer_to(const Link& link, int id,
              LinkOwner<LDAPMessage>* answer = nullptr) {
  LDAPMessage* message = nullptr;
  const int type = ldap_result(link.ld(), id, LDAP_MSG_ALL, nullptr, &message);
  LinkOwner<LDAPMessage> owner(message);
  int code = LDAP_TIMEOUT;
  if (type < 0) {
    ldap_get_option(link.ld(), LDAP_OPT_RESULT_CODE, &code);
    code = code == LDAP_SUCCESS ? LDAP_SERVER_DOWN : code;
  } else if (type > 0) {
    const int parsed = ldap_parse_result(link.ld(), message, &code, nullptr,
                                         nullptr, nullptr, nullptr, 0);
    code = parsed == LDAP_SUCCESS ? code : parsed;
  }
  if (answer != nullptr) {
    *answer = std::move(owner);
  }
  return code;
}

int send_and_wait(const Link& link, const ChangedEntry& entry,
                  LDAPControl* further) {
  int id = 0;
  const int code = entry.is_new
                       ? send_add(link, entry, further, &id)
                       : send_modify(link, entry, entry.dn, further, &id);
  return code == LDAP_SUCCESS ? answer_to(link, id) : code;
}

// --- What an answer means ---------------------------------------------------

bool is_one_of(int code, std::initializer_list<int> codes) {
  return std::find(codes.begin(), codes.end(), code) != codes.end();
}

std::string section_of(const ChangedEntry& entry) {
  return entry.differences.front().setting.section;
}

// What has changed in the entry's settings since they were read, as lines.
std::string changed_since(const std::vector<Entry>& now,
                          const ChangedEntry& entry) {
  const Holdings holdings(now);
  std::string text;
  for (const Difference& difference : entry.differences) {
    Difference since = difference;
    since.after = values_now(holdings, difference.setting);
    if (since.before != since.after) {
      text += (text.empty() ? "" : "; ") + difference_line(since, false);
    }
  }
  return text;
}

// Codes that a change by somebody else brings about. Each but the first may
// have other reasons too: then nothing has changed.
bool may_be_conflict(int code) {
  return is_one_of(
      code, {LDAP_ASSERTION_FAILED, LDAP_ALREADY_EXISTS, LDAP_NO_SUCH_OBJECT,
             LDAP_NO_SUCH_ATTRIBUTE, LDAP_TYPE_OR_VALUE_EXISTS});
}

Failure failure_of(const Link& link, const ChangedEntry& entry, int code) {
  const std::string section = section_of(entry);
  Failure refused = link.failure("the change of " + section, code);
  if (!may_be_conflict(code)) {
    return refused;
  }
  const auto now = link.entries();
  const std::string changed = changed_since(now, entry);
  const Entry* there = first_named(now, section);
  const bool same_entry = entry.is_new
                              ? there == nullptr
                              : there != nullptr && there->dn == entry.dn;
  if (changed.empty() && same_entry && code != LDAP_ASSERTION_FAILED) {
    return refused;
  }
  return {ExitCode::kConflict,
          "somebody else has changed " + (changed.empty() ? section : changed)};
}

// --- Transactions -----------------------------------------------------------

// Long beside what the server has left to do then, be it ever so busy.
constexpr std::chrono::milliseconds kRest(200);

// Ended without effect when it goes out of scope.
class Transaction {
 public:
  explicit Transaction(const Link& link) : link_(link) {
    berval* id = nullptr;
    const int code = ldap_txn_start_s(link.ld(), nullptr, nullptr, &id);
    id_.reset(id);
    if (code != LDAP_SUCCESS || id == nullptr) {
      throw link.failure("a transaction", code);
    }
    control_ = control(LDAP_CONTROL_TXN_SPEC, *id);
  }
  ~Transaction() {
    if (id_ != nullptr) {
      int none = 0;
      end(false, &none);
    }
  }
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;
  Transaction(Transaction&&) = delete;
  Transaction& operator=(Transaction&&) = delete;

  // Leaves the end to the server, which comes with the connection's.
  void leave() { id_.reset(); }

  // What makes a request a part of it.
  [[nodiscard]] LDAPControl* part() const { return control_.get(); }

  // Returns a code; when it is a request's, *refused is that one's id.
  int commit(int* refused) { return end(true, refused); }

 private:
  int end(bool commit, int* refused) {
    // slapd 2.5 answers a request that it keeps for later before it has let go
    // of it, and crashes when the transaction has ended by then.
    std::this_thread::sleep_for(kRest);
    int request = 0;
    int code = ldap_txn_end(link_.ld(), commit ? 1 : 0, id_.get(), nullptr,
                            nullptr, &request);
    id_.reset();
    if (code == LDAP_SUCCESS) {
      LinkOwner<LDAPMessage> answer;
      code = answer_to(link_, request, &answer);
      read_refused(answer.get(), refused);
    }
    return code;
  }

  // txnEndRes ::= SEQUENCE { messageID MessageID OPTIONAL, ... } (RFC 5805
  // section 2.5); the LDAP library's own reader takes it for an error.
  void read_refused(LDAPMessage* answer, int* refused) {
    berval* value = nullptr;
    if (answer == nullptr ||
        ldap_parse_extended_result(link_.ld(), answer, nullptr, &value, 0) !=
            LDAP_SUCCESS ||
        value == nullptr) {
      return;
    }
    const LinkOwner<berval> owner(value);
    BerElement* reader = ber_init(value);
    ber_scanf(reader, "{i", refused);  // NOLINT(*-vararg): the library's
    ber_free(reader, 1);
  }

  const Link& link_;
  LinkOwner<berval> id_;
  LinkOwner<LDAPControl> control_;
};

// One that ended the tool in between would leave entries behind.
sigset_t ending_signals() {
  sigset_t ending;
  sigemptyset(&ending);
  for (const int signal : {SIGHUP, SIGINT, SIGTERM}) {
    sigaddset(&ending, signal);
  }
  return ending;
}

// Entries of sections without a setting, made for a transaction to fill. They
// go again unless they are kept, or somebody else has filled them.
class BareEntries {
 public:
  // What cannot be removed goes to `left`.
  BareEntries(const Link& link, std::vector<std::string>* left)
      : link_(link), left_(left) {}
  ~BareEntries() {
    bool answers = true;  // or the others would wait for an answer as long
    for (std::string& dn : added_) {
      answers = answers && remove(dn) >= LDAP_SUCCESS;
      if (!answers) {
        left_->push_back(std::move(dn));
      }
    }
  }
  BareEntries(const BareEntries&) = delete;
  BareEntries& operator=(const BareEntries&) = delete;
  BareEntries(BareEntries&&) = delete;
  BareEntries& operator=(BareEntries&&) = delete;

  // Returns a code.
  int add(const std::string& dn) {
    Modifications mods;
    mods.add(LDAP_MOD_ADD, class_attribute().c_str(), section_class());
    const int code =
        ldap_add_ext_s(link_.ld(), dn.c_str(), mods.get(), nullptr, nullptr);
    if (code == LDAP_SUCCESS) {
      added_.push_back(dn);
    }
    return code;
  }

  void keep() { added_.clear(); }

 private:
  [[nodiscard]] int remove(const std::string& dn) const try {
    const auto bare = assertion(link_, "(!(|(qxSetting=*)(ConfigSerial=*)))");
    std::array<LDAPControl*, 2> controls = {bare.get(), nullptr};
    return ldap_delete_ext_s(link_.ld(), dn.c_str(), controls.data(), nullptr);
  } catch (const std::exception&) {
    return LDAP_NO_MEMORY;  // it stays, and holds nothing
  }

  const Link& link_;
  std::vector<std::string>* left_;
  std::vector<std::string> added_;
};

// --- Asking -----------------------------------------------------------------

// False when the server does not know the question.
bool ask_of(const Link& link, const ChangedEntry& entry,
            LDAPControl* no_operation) {
  const int code = send_and_wait(link, entry, no_operation);
  if (code == LDAP_UNAVAILABLE_CRITICAL_EXTENSION) {
    return false;
  }
  if (!is_one_of(code, {LDAP_SUCCESS, LDAP_X_NO_OPERATION})) {
    throw failure_of(link, entry, code);
  }
  return true;
}

// --- Attribute types --------------------------------------------------------

std::string in_lower(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(), [](char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  });
  return text;
}

// Has the server store a value of each type and forget it. False when it does
// not let this session do so.
bool make_known(const Link& link, const std::vector<std::string>& types) {
  // No section, nor of the class of sections: nobody takes it for settings.
  const std::string dn =
      "cn=configapi-" + std::to_string(std::random_device{}());
  const Values classes = {"applicationProcess", "extensibleObject"};
  const Values value = {"0"};
  Modifications mods;
  mods.add(LDAP_MOD_ADD, class_attribute().c_str(), classes);
  for (const std::string& type : types) {
    mods.add(LDAP_MOD_ADD, type.c_str(), value);
  }
  int code =
      ldap_add_ext_s(link.ld(), dn.c_str(), mods.get(), nullptr, nullptr);
  if (code > LDAP_SUCCESS) {
    return false;
  }
  if (code == LDAP_SUCCESS) {
    code = ldap_delete_ext_s(link.ld(), dn.c_str(), nullptr, nullptr);
  }
  if (code != LDAP_SUCCESS) {
    const Failure why = link.failure("to remove an entry", code);
    throw Failure(why.code(), std::string(why.what()) +
                                  "; left behind without a setting: " + dn);
  }
  return true;
}

ChangedEntry* entry_of(std::vector<ChangedEntry>* entries,
                       const std::string& dn) {
  const auto known =
      std::find_if(entries->begin(), entries->end(),
                   [&](const ChangedEntry& e) { return e.dn == dn; });
  return known != entries->end() ? &*known : nullptr;
}

}  // namespace

Changes::Changes(const std::vector<Difference>& differences,
                 const std::vector<Entry>& entries) {
  for (const Entry& entry : entries) {
    for (const auto& [name, value] : entry.values) {
      known_types_.insert(in_lower(name));
    }
  }
  for (const Difference& difference : differences) {
    if (difference.before == difference.after) {
      continue;
    }
    const char* section = difference.setting.section;
    const Entry* found = first_named(entries, section);
    const std::string dn =
        found != nullptr ? found->dn : "cn=" + escape_dn_value(section);
    ChangedEntry* entry = entry_of(&entries_, dn);
    if (entry == nullptr) {
      entries_.push_back(
          {dn, found == nullptr, found != nullptr ? found->csn : ""});
      entry = &entries_.back();
    }
    entry->differences.push_back(difference);
  }
}

Writing Changes::prepare_writing(const Link& link) const {
  if (entries_.size() < 2) {
    return Writing::kTogether;
  }
  if (!link.offers(LDAP_EXOP_TXN_START)) {
    return Writing::kOneByOne;
  }
  const auto types = new_types();
  return types.empty() || make_known(link, types) ? Writing::kTogether
                                                  : Writing::kOneByOne;
}

std::vector<std::string> Changes::new_types() const {
  std::set<std::string> types;
  for (const ChangedEntry& entry : entries_) {
    for (const Difference& difference : entry.differences) {
      const std::string key = difference.setting.key->key;
      if (!difference.after.empty() && !known_types_.contains(in_lower(key))) {
        types.insert(key);
      }
    }
  }
  return {types.begin(), types.end()};
}

// An addition is not asked about: slapd 2.5 damages its database by it.
bool Changes::ask(const Link& link) const {
  const auto no_operation = control(kNoOperation, berval{0, nullptr});
  bool all = true;
  for (const ChangedEntry& entry : entries_) {
    all = !entry.is_new && ask_of(link, entry, no_operation.get()) && all;
  }
  return all;
}

void Changes::write(const Link& link, Writing writing) {
  if (entries_.size() > 1 && writing == Writing::kTogether) {
    write_together(link);
  } else {
    write_one_by_one(link);
  }
}

void Changes::write_one_by_one(const Link& link) {
  for (ChangedEntry& entry : entries_) {
    const int code = send_and_wait(link, entry, nullptr);
    if (code != LDAP_SUCCESS) {
      // Without an answer it may have been written all the same.
      entry.state = code < LDAP_SUCCESS ? State::kUnknown : State::kNotWritten;
      throw failure_of(link, entry, code);
    }
    entry.state = State::kWritten;
  }
}

// An entry that is added in a transaction would not come to stand where the
// server would put it otherwise, if it rewrites its name.
void Changes::write_together(const Link& link) {
  const SignalsLater signals(ending_signals());
  BareEntries bare(link, &left_behind_);
  for (const ChangedEntry& entry : entries_) {
    const int code = entry.is_new ? bare.add(entry.dn) : LDAP_SUCCESS;
    if (code != LDAP_SUCCESS) {
      throw failure_of(link, entry, code);
    }
  }
  commit(link);
  bare.keep();
}

void Changes::commit(const Link& link) {
  auto names = link.own_names();
  Transaction transaction(link);
  std::vector<int> ids;
  for (const ChangedEntry& entry : entries_) {
    const std::string& name = names[entry.dn];
    int& id = ids.emplace_back();
    int code = send_modify(link, entry, name.empty() ? entry.dn : name,
                           transaction.part(), &id);
    if (code == LDAP_SUCCESS) {
      code = answer_to(link, id);
    }
    if (code < LDAP_SUCCESS) {
      transaction.leave();  // it may not have come to the request yet
    }
    if (code != LDAP_SUCCESS) {
      throw failure_of(link, entry, code);
    }
  }
  int refused = 0;
  const int code = transaction.commit(&refused);
  if (code == LDAP_SUCCESS) {
    set_states(State::kWritten);
    return;
  }
  if (code < LDAP_SUCCESS) {
    set_states(State::kUnknown);
  }
  const auto id = std::find(ids.begin(), ids.end(), refused);
  if (id == ids.end()) {
    throw link.failure("the transaction", code);
  }
  const auto index = static_cast<std::size_t>(id - ids.begin());
  throw failure_of(link, entries_[index], code);
}

void Changes::set_states(State state) {
  for (ChangedEntry& entry : entries_) {
    entry.state = state;
  }
}

}  // namespace configapi::tool
