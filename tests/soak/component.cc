// A component of a gateway for scripts/soak: four threads parse mail, one reads
// settings and one writes them, while the directory server suffers.
//
// Standard input tells what is done to the server: "fault BEGIN END" in seconds
// since the machine's start, "mark" when what the process holds is to be
// remembered, and "end" when the run is over. It is then judged; the exit code
// is 1 when a promise was broken. The server is the one of `scripts/directory
// env`.
//
// Usage: soak_component MAILBOX...

#include <configapi/config.h>
#include <configapi/host.h>
#include <configapi/lineio.h>
#include <configapi/rfc822.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "soak/verdict.h"

namespace {

using std::chrono::microseconds;
using std::chrono::milliseconds;

constexpr int kParsers = 4;
constexpr std::size_t kKeysOfASection = 20;
constexpr long kMemoryGrowth = 1024;  // kB, after a fifth of the run

std::atomic<bool> stopping = false;
std::atomic<long> reconnects = 0;

std::string variable(const char* name) {
  const char* text = std::getenv(name);
  return text != nullptr ? text : "";
}

// --- Mail -------------------------------------------------------------------

struct Mail {
  unsigned long messages = 0;
  unsigned long addresses = 0;
  unsigned long digest = 0;

  bool operator==(const Mail&) const = default;
  void add(const char* text) {
    digest = digest * 31 + std::hash<std::string_view>{}(text);
  }
};

void add_addresses(const AddrList* list, Mail* mail) {
  if (list == nullptr || list->recips == nullptr) {
    return;
  }
  ldapClient names;
  for (const Recipient* one = list->recips->first; one != nullptr;
       one = one->next) {
    std::string again = one->orig;
    RecipTable table{};
    mail->addresses += RecipParse(again.data(), &table, 1);
    for (const Recipient* r = table.first; r != nullptr; r = r->next) {
      mail->add(r->canon);
    }
    Clear_RT(&table);
    std::string canon = one->canon;
    const char* dn = names.CreateDNFromMail(canon.data());
    mail->add(dn != nullptr ? dn : "");
  }
}

// An unreadable date becomes the present one, so dates are left out.
Mail parse_mailbox(std::string path) {
  Mail mail;
  const int handle = fileopen(path.data(), 0, 0);
  for (bool more = handle != -1; more; ++mail.messages) {
    Header822* header = New822Header();
    unsigned lines = 0;
    unsigned status_line = 0;
    if (ParseHdr(handle, header, &lines, &status_line) == 1) {
      for (const AddrList* list : {header->to, header->cc, header->from}) {
        add_addresses(list, &mail);
      }
      mail.add(header->subject != nullptr ? header->subject : "");
    }
    Free822Header(header);
    char* line = nullptr;
    do {
      more = configapi_getline(handle, &line) == 1;
    } while (more && isNextMsgHeader(line) == 0);
  }
  fileclose(handle);
  return mail;
}

// Each result is compared with what the first, lone pass gave.
class Parsers {
 public:
  explicit Parsers(std::vector<std::string> paths) : paths_(std::move(paths)) {
    for (const auto& path : paths_) {
      alone_.push_back(parse_mailbox(path));
    }
  }
  void run() {
    while (!stopping) {
      for (std::size_t i = 0; i < paths_.size() && !stopping; ++i) {
        const Mail mail = parse_mailbox(paths_[i]);
        differences += mail == alone_[i] ? 0 : 1;
        messages += mail.messages;
        addresses += mail.addresses;
      }
    }
  }
  std::atomic<unsigned long> messages = 0;
  std::atomic<unsigned long> addresses = 0;
  std::atomic<unsigned long> differences = 0;

 private:
  std::vector<std::string> paths_;
  std::vector<Mail> alone_;
};

// --- Settings ---------------------------------------------------------------

constexpr const char* kFixed[] = {"Gateway", "LogDirectory", "YES"};
constexpr const char* kMoving[] = {"Options", "CloseSMTPD"};

bool connect(cConfig* config) {
  std::string host = variable("CONFIGAPI_HOST");
  std::string dn = variable("CONFIGAPI_BINDDN");
  std::string password;
  std::ifstream(variable("CONFIGAPI_PASSFILE")) >> password;
  return config->ldapClientConnect(
             host.data(), std::stoi(variable("CONFIGAPI_PORT"))) == 0 &&
         config->ldapClientBind(dn.data(), password.data()) == 0;
}

// Whether there is an answer. A value that is not set is empty.
bool read(cConfig* config, const char* section, const char* key,
          std::string* value) {
  char text[512] = "";
  unsigned long type = 0;
  const bool good = config->CONFIGReadData(section, key, "directory", text,
                                           sizeof text, &type) == 0;
  *value = text;
  return good;
}

struct Reader {
  cConfig config{};
  long reads = 0;
  long wrong = 0;

  void run(soak::Troubles* troubles) {
    constexpr int kReadsOfACache = 64;
    for (long newest = 0; !stopping; ++reads) {
      std::string value;
      if (reads % kReadsOfACache == 0) {
        config.CONFIGRefreshCache();
      }
      if (reads % 2 == 0) {
        if (troubles->good(
                [&] { return read(&config, kFixed[0], kFixed[1], &value); })) {
          wrong += value == kFixed[2] ? 0 : 1;
        }
      } else if (troubles->good([&] {
                   return read(&config, kMoving[0], kMoving[1], &value);
                 })) {
        // Written upwards, it is never seen to go back.
        const long number = std::stol("0" + value);
        wrong += number >= newest ? 0 : 1;
        newest = number;
      }
      std::this_thread::sleep_for(microseconds(500));
    }
  }
};

// Writes number N to an address of its own, and again until that is
// acknowledged; so all numbers below `acknowledged` are. Every eighth one also
// goes to the setting that moves, through CONFIGWriteData(), which tells
// nothing: what is read back then is acknowledged.
struct Writer {
  cConfig config{};
  unsigned long acknowledged = 0;
  unsigned long acknowledged_moving = 0;
  long failed = 0;

  static std::string section(unsigned long number) {
    return "Soak" + std::to_string(number / kKeysOfASection);
  }
  // Any keys will do that an entry can hold.
  static std::string key(unsigned long number) {
    return cfgTable[1].keys[number % kKeysOfASection].key;
  }

  bool write(unsigned long number) {
    std::string at = section(number);
    std::string name = key(number);
    std::string value = std::to_string(number);
    return config.ldapWriteProfileString(at.data(), name.data(),
                                         value.data()) == 0;
  }
  bool write_moving(unsigned long number) {
    std::string value = std::to_string(number);
    std::string back;
    return config.CONFIGWriteData(kMoving[0], kMoving[1], value.data(), 0) ==
               0 &&
           read(&config, kMoving[0], kMoving[1], &back) && back == value;
  }

  template <typename Write>
  bool until_done(soak::Troubles* troubles, Write write) {
    while (!stopping) {
      if (troubles->good(write)) {
        return true;
      }
      ++failed;
      std::this_thread::sleep_for(milliseconds(50));
    }
    return false;
  }

  void run(soak::Troubles* troubles) {
    constexpr unsigned long kMovesEvery = 8;
    for (unsigned long number = 0; !stopping; ++number) {
      if (until_done(troubles, [&] { return write(number); })) {
        acknowledged = number + 1;
      }
      if (number % kMovesEvery == 0 &&
          until_done(troubles, [&] { return write_moving(number); })) {
        acknowledged_moving = number;
      }
      std::this_thread::sleep_for(milliseconds(20));
    }
  }

  // How many acknowledged writes are not there.
  unsigned long lost() {
    unsigned long count = 0;
    std::string value;
    for (unsigned long number = 0; number < acknowledged; ++number) {
      config.CONFIGRefreshCache();
      const bool there =
          read(&config, section(number).c_str(), key(number).c_str(), &value) &&
          value == std::to_string(number);
      count += there ? 0 : 1;
    }
    const bool there = read(&config, kMoving[0], kMoving[1], &value) &&
                       std::stoul("0" + value) >= acknowledged_moving;
    return count + (there ? 0 : 1);
  }
};

// --- The run ----------------------------------------------------------------

struct Run {
  std::vector<soak::Span> faults;
  soak::Holdings at_start = soak::holdings();
  soak::Holdings at_mark{};
  long most_descriptors = 0;

  // Until the script ends the run, or ends itself.
  void follow() {
    for (std::string word; std::cin >> word && word != "end";) {
      const soak::Holdings present = soak::holdings();
      most_descriptors = std::max(most_descriptors, present.descriptors);
      soak::Span fault{};
      if (word == "mark") {
        at_mark = present;
      } else if (std::cin >> fault.begin >> fault.end) {
        faults.push_back(fault);
      }
    }
  }
};

bool judge(const Run& run, const soak::Holdings& at_end, const Parsers& parsers,
           const Reader& reader, Writer* writer,
           const soak::Troubles& troubles) {
  std::printf(
      "%zu faults, %ld reconnects\n"
      "%lu messages and %lu addresses parsed in %d threads\n"
      "%ld settings read\n"
      "%lu writes acknowledged, %ld not\n"
      "%zu calls failed or were late; the longest took %.2f s\n"
      "memory: %ld kB at the mark, %ld kB at the end\n",
      run.faults.size(), reconnects.load(), parsers.messages.load(),
      parsers.addresses.load(), kParsers, reader.reads, writer->acknowledged,
      writer->failed, troubles.count(), troubles.longest(),
      run.at_mark.resident, at_end.resident);
  soak::Verdict verdict;
  verdict.promise("seconds that an error or a wait outlived its fault",
                  troubles.outlived(run.faults), troubles.limit());
  verdict.promise("mailboxes parsed otherwise than by one thread alone",
                  static_cast<double>(parsers.differences), 0);
  verdict.promise("settings read wrong", static_cast<double>(reader.wrong), 0);
  verdict.promise("acknowledged writes not found",
                  static_cast<double>(writer->lost()), 0);
  verdict.promise("kB of memory more than at the mark",
                  static_cast<double>(at_end.resident - run.at_mark.resident),
                  kMemoryGrowth);
  verdict.promise("descriptors at the most",
                  static_cast<double>(run.most_descriptors),
                  static_cast<double>(run.at_start.descriptors + kParsers + 2));
  verdict.promise("descriptors at the end",
                  static_cast<double>(at_end.descriptors),
                  static_cast<double>(run.at_start.descriptors));
  return verdict.kept();
}

}  // namespace

// In place of the stand-in: what is logged is a figure here.
extern "C" void LogMessage(int /*level*/, const char* /*source*/,
                           const char* text) {
  if (std::strncmp(text, "reconnected", std::strlen("reconnected")) == 0) {
    ++reconnects;
  }
}

int main(int argc, char** argv) {
  Reader reader;
  Writer writer;
  if (argc < 2 || !connect(&reader.config) || !connect(&writer.config)) {
    (void)std::fputs("soak_component: no mailbox or no directory\n", stderr);
    return 1;
  }
  std::string first = kFixed[2];
  writer.config.CONFIGWriteData(kFixed[0], kFixed[1], first.data(), 0);
  writer.write_moving(0);
  InitLineIO();
  Parsers parsers({argv + 1, argv + argc});
  soak::Troubles troubles(std::stod(variable("LDAPNETWORK_TIMEOUT")),
                          std::stod(variable("LDAPTIMEOUT")));
  Run run;
  std::vector<std::thread> threads;
  for (int i = 0; i < kParsers; ++i) {
    threads.emplace_back([&] { parsers.run(); });
  }
  threads.emplace_back([&] { reader.run(&troubles); });
  threads.emplace_back([&] { writer.run(&troubles); });
  run.follow();
  const long resident = soak::holdings().resident;
  stopping = true;
  for (auto& thread : threads) {
    thread.join();
  }
  const soak::Holdings at_end{resident, soak::holdings().descriptors};
  const bool kept = judge(run, at_end, parsers, reader, &writer, troubles);
  TerminateLineIO();
  return kept ? 0 : 1;
}
