#include "ldap/search.h"

#include "ldap/connection.h"
#include "ldap/log.h"
#include "ldap/owners.h"

namespace configapi {
namespace {

int send_search(LDAP* ld, const SearchQuery& query, ResultPtr* result) {
  ldap_set_option(ld, LDAP_OPT_DEREF, &query.option);
  LDAPMessage* answer = nullptr;
  const int code =
      query.timeout == nullptr
          ? ldap_search_s(ld, query.base, query.scope, query.filter,
                          query.attrs, 0, &answer)
          : ldap_search_st(ld, query.base, query.scope, query.filter,
                           query.attrs, 0, query.timeout, &answer);
  result->reset(answer);  // comes with some errors too
  return code;
}

EntriesPtr search_failed(SearchCode reason, SearchCode* code) {
  log_ldap_error(reason == SearchCode::kNotCounted ? "ldap_count_entries failed"
                                                   : "ldap_search failed");
  *code = reason;
  return nullptr;
}

}  // namespace

EntriesPtr search(ldapClient* client, const SearchQuery& query,
                  SearchCode* code) {
  if (client->ld == nullptr) {
    *code = SearchCode::kNoSession;
    return nullptr;
  }
  // The LDAP library would send a request for which servers hang up.
  if (query.filter != nullptr && *query.filter == '\0') {
    return search_failed(SearchCode::kNoAnswer, code);
  }
  ResultPtr result;
  before_request(client, Request::kRead, query.timeout);
  int error = send_search(client->ld, query, &result);
  if (is_reconnected(client, error, query.timeout)) {
    error = send_search(client->ld, query, &result);
  }
  if (after_request(client, error) != LDAP_SUCCESS) {
    // The LDAP library's own errors are negative, a server's are not.
    return search_failed(
        error < 0 ? SearchCode::kNoAnswer : SearchCode::kNotFound, code);
  }
  LDAP* const ld = client->ld;
  if (ldap_count_entries(ld, result.get()) == -1) {
    return search_failed(SearchCode::kNotCounted, code);
  }
  EntriesPtr entries = copy_entries(ld, result.get());
  if (entries == nullptr) {
    return search_failed(SearchCode::kNoAnswer, code);
  }
  if (entries->next == nullptr) {
    log_ldap_info("ldap_search return nothing");
    *code = SearchCode::kNotFound;
    return nullptr;
  }
  *code = SearchCode::kFound;
  return entries;
}

}  // namespace configapi
