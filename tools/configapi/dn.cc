// configapi dn [ADDRESS...] [--cn|--mail|--suffix]

#include <configapi/ldapclient.h>
#include <ldap.h>

#include <CLI/App.hpp>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "arguments.h"
#include "commands.h"
#include "each_text.h"
#include "remark.h"

namespace configapi::tool {
namespace {

struct DnOptions {
  std::vector<std::string> addresses;
  bool cn = false;
  bool mail = false;
  bool suffix = false;
};

std::optional<std::string> dn_of(std::string address,
                                 const DnOptions& options) {
  ldapClient client;  // these calls need no connection
  char* const dn = options.cn       ? client.Mail2DN(address.data())
                   : options.suffix ? client.GetSuffix(address.data())
                                    : client.CreateDNFromMail(address.data());
  if (dn == nullptr) {
    return std::nullopt;
  }
  std::string copy = dn;
  if (options.cn || options.suffix) {
    client.free(dn);
  }
  return copy;
}

// Whether a directory reads the name's first part as the very address.
bool names_address(const std::string& dn, std::string_view address) {
  LDAPDN parts = nullptr;
  if (ldap_str2dn(dn.c_str(), &parts, LDAP_DN_FORMAT_LDAPV3) != LDAP_SUCCESS) {
    return false;
  }
  LDAPAVA* const* const first = *parts;
  const berval& value = first[0]->la_value;
  const bool same = first[1] == nullptr &&
                    std::string_view(value.bv_val, value.bv_len) == address;
  ldap_dnfree(parts);
  return same;
}

void show(const std::string& address, const DnOptions& options, Tool* tool) {
  const auto dn = dn_of(address, options);
  const Output& output = tool->output;
  if (output.json) {
    Json row{{"address", address}, {"dn", nullptr}};
    if (dn) {
      row["dn"] = *dn;
    }
    output.object(row);
  } else if (dn) {
    output.line(visible(*dn));
  }
  if (!dn) {
    tool->report(Failure(ExitCode::kNo,
                         in_quotes(address) + " gives no directory name"));
  } else if (!options.suffix && !names_address(*dn, address)) {
    output.warning("no directory finds the whole of " + in_quotes(address) +
                   " in this name: its special characters are not escaped");
  }
}

}  // namespace

void add_dn(CLI::App* app, Tool* tool) {
  const auto options = std::make_shared<DnOptions>();
  CLI::App* command = app->add_subcommand(
      "dn", "Make the directory names that belong to mail addresses");
  // Not ADDRESS, which is a setting's.
  add_texts(command, "MAIL-ADDRESS", &options->addresses,
            "An address; without any, each line of standard input is one");
  CLI::Option* cn = command->add_flag("--cn", options->cn,
                                      "Names of the form cn=ADDRESS,...");
  CLI::Option* mail = command->add_flag(
      "--mail", options->mail,
      "Names of the form mail=ADDRESS,...; this is what is meant without");
  command
      ->add_flag("--suffix", options->suffix, "The domain's components alone")
      ->excludes(cn)
      ->excludes(mail);
  mail->excludes(cn);
  command->callback([options, tool] {
    for_each_text(options->addresses, [&](const std::string& address) {
      show(address, *options, tool);
    });
  });
}

}  // namespace configapi::tool
