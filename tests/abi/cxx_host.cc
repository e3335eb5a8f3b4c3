// A host in another C++ standard than the library's.

#include <configapi/config.h>
#include <configapi/rfc822.h>
#include <configapi/rfcdate.h>

#include <cstring>

namespace {

// By value, as a member of a class of the host's own.
class Component : public cConfig {
 public:
  bool reads_the_table() {
    char value[64] = "";
    unsigned long type = 0;
    return CONFIGReadData("Tuning", "DNStimeout", nullptr, value, sizeof value,
                          &type) == 0 &&
           type == TYPE_NUMBER && bindDN[0] == '\0' && ld == nullptr;
  }
  bool has_no_connection() {
    char filter[] = "(cn=x)";
    int code = 0;
    return ldapClientSearch(nullptr, 2, 0, filter, &code) == nullptr &&
           code == 4;
  }
};

bool reads_addresses() {
  char list[] = "Joe <a@b>, c@d";
  RecipTable table = {};
  const unsigned count = RecipParse(list, &table, 1);
  const bool right = count == 2 && std::strcmp(table.first->domain, "b") == 0;
  Clear_RT(&table);
  return right;
}

}  // namespace

int main() {
  Component component;
  return component.reads_the_table() && component.has_no_connection() &&
                 reads_addresses()
             ? 0
             : 1;
}
