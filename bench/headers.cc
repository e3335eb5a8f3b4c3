// Headers of messages: those of real mail, and headers that are made to hurt.

#include <configapi/lineio.h>
#include <configapi/rfc822.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

#include "harness.h"

#ifdef CONFIGAPI_BENCH_GMIME
#include <gmime/gmime.h>
#endif
#ifdef CONFIGAPI_BENCH_ETPAN
#include <libetpan/libetpan.h>
#endif
#ifdef CONFIGAPI_BENCH_DOVECOT
#include "dovecot_headers.h"
#endif

namespace {

struct Message {
  std::string path;
  std::string header;  // with its empty line
};

Message message_at(const std::string& path, const std::string& text) {
  const std::size_t lf = text.find("\n\n");
  const std::size_t crlf = text.find("\n\r\n");
  return {path,
          text.substr(0, std::min({lf == std::string::npos ? lf : lf + 2,
                                   crlf == std::string::npos ? crlf : crlf + 3,
                                   text.size()}))};
}

// A message in memory that is opened like a file.
Message make_message(const std::string& text) {
  const int descriptor = memfd_create("message", MFD_CLOEXEC);
  if (descriptor == -1 || write(descriptor, text.data(), text.size()) !=
                              static_cast<ssize_t>(text.size())) {
    std::perror("message");
    std::exit(2);
  }
  return message_at("/proc/self/fd/" + std::to_string(descriptor), text);
}

std::vector<Message> corpus_messages(const std::string& folder) {
  std::vector<std::string> paths;
  for (const auto& entry :
       std::filesystem::recursive_directory_iterator(folder)) {
    if (entry.is_regular_file()) {
      paths.push_back(entry.path());
    }
  }
  std::sort(paths.begin(), paths.end());
  std::vector<Message> messages;
  for (const auto& path : paths) {
    std::ifstream in(path, std::ios::binary);
    messages.push_back(
        message_at(path, {std::istreambuf_iterator<char>(in), {}}));
  }
  return messages;
}

// Without a corpus: a message as mail mostly is.
std::vector<Message> made_messages() {
  return {make_message(
      "Return-Path: <ann@sales.example>\r\n"
      "Received: from mail.sales.example (mail.sales.example [192.0.2.1])\r\n"
      "\tby mx.example (8.8.8/8.8.8) with ESMTP id PAA12345\r\n"
      "\tfor <bob@example>; Mon, 16 Nov 1998 15:48:37 -0500\r\n"
      "Received: from desk.sales.example ([192.0.2.77])\r\n"
      "\tby mail.sales.example; Mon, 16 Nov 1998 15:48:30 -0500\r\n"
      "Message-Id: <19981116154830.A1234@sales.example>\r\n"
      "Date: Mon, 16 Nov 1998 15:48:29 -0500\r\n"
      "From: \"Ann Example\" <ann@sales.example>\r\n"
      "To: Bob <bob@example>, \"Smith, John\" <js@engineering.example>,\r\n"
      "\tlist@lists.example (all of us)\r\n"
      "Cc: postmaster@example\r\n"
      "Subject: Figures of the third quarter,\r\n and what they mean\r\n"
      "References: <19981110.1@example> <19981112.7@engineering.example>\r\n"
      "In-Reply-To: <19981112.7@engineering.example>\r\n"
      "MIME-Version: 1.0\r\n"
      "Content-Type: text/plain; charset=iso-8859-1\r\n"
      "Content-Transfer-Encoding: 8bit\r\n"
      "X-Mailer: Mailer 4.5\r\n"
      "X-Priority: 3\r\n"
      "\r\n"
      "Dear all,\r\n")};
}

// One handle per message, opened once.
std::vector<int> open_all(const std::vector<Message>& messages) {
  std::vector<int> handles;
  for (const auto& message : messages) {
    std::string path = message.path;
    handles.push_back(fileopen(path.data(), 0, 0));
  }
  return handles;
}

void parse(int handle) {
  setfpos(handle, 0);
  Header822* header = New822Header();
  unsigned lines = 0;
  unsigned status_line = 0;
  ParseHdr(handle, header, &lines, &status_line);
  bench::keep(header);
  Free822Header(header);
}

bench::Work ours(const std::vector<Message>& messages) {
  return bench::over(open_all(messages), parse);
}

std::vector<bench::Side> peers(
    [[maybe_unused]] const std::vector<Message>& messages) {
  std::vector<bench::Side> sides;
#ifdef CONFIGAPI_BENCH_DOVECOT
  std::vector<struct istream*> files;
  files.reserve(messages.size());
  for (const auto& message : messages) {
    files.push_back(dovecot_open(message.path.c_str()));
  }
  sides.push_back({"dovecot", bench::over(files, dovecot_parse_header)});
#endif
#ifdef CONFIGAPI_BENCH_GMIME
  std::vector<GMimeStream*> streams;
  streams.reserve(messages.size());
  for (const auto& message : messages) {
    streams.push_back(g_mime_stream_fs_new_with_bounds(
        open(message.path.c_str(), O_RDONLY | O_CLOEXEC), 0,
        static_cast<gint64>(message.header.size())));
  }
  sides.push_back({"gmime", bench::over(streams, [](GMimeStream* stream) {
                     g_mime_stream_reset(stream);
                     GMimeParser* parser =
                         g_mime_parser_new_with_stream(stream);
                     GMimeMessage* message =
                         g_mime_parser_construct_message(parser, nullptr);
                     if (message != nullptr) {
                       g_object_unref(message);
                     }
                     g_object_unref(parser);
                   })});
#endif
#ifdef CONFIGAPI_BENCH_ETPAN
  std::vector<std::string> headers;
  headers.reserve(messages.size());
  for (const auto& message : messages) {
    headers.push_back(message.header);
  }
  // It reads from memory only.
  sides.push_back(
      {"libetpan", bench::over(headers, [](const std::string& header) {
         std::size_t at = 0;
         mailimf_fields* fields = nullptr;
         if (mailimf_fields_parse(header.data(), header.size(), &at, &fields) ==
             MAILIMF_NO_ERROR) {
           mailimf_fields_free(fields);
         }
       })});
#endif
  return sides;
}

bench::Row mail_row(const std::vector<Message>& messages) {
  bench::Row row;
  row.name = "headers/mail";
  row.unit = "message";
  row.ours = ours(messages);
  row.peers = peers(messages);
  if (!row.peers.empty()) {
    row.bound = bench::Bound{row.peers.front().name, 1.0};
  }
  row.count_units = messages.size();
  return row;
}

// Four times the bytes may take at most 4.5 times the work. The larger header
// just fits the parser's buffer.
bench::Row growth_row(const std::string& name, std::string_view start,
                      std::string_view repeated) {
  const auto work = [&](std::size_t size) {
    std::string text(start);
    while (text.size() + repeated.size() <= size) {
      text += repeated;
    }
    return ours({make_message(text + "\n\n")});
  };
  constexpr std::size_t kSmall = 15500;
  bench::Row row;
  row.name = "headers/62kB-" + name;
  row.unit = "header";
  row.ours = work(4 * kSmall);
  row.limit = bench::Side{"15.5kB", work(kSmall)};
  row.bound = bench::Bound{"15.5kB", 4.5, true};
  row.count_units = 4;
  return row;
}

bench::Row body_row() {
  std::string mailbox;
  while (mailbox.size() < std::size_t{64} * 1024) {
    mailbox += "a line of a body, of forty-four bytes in all\n";
  }
  const Message message = make_message(mailbox);
  FILE* const stream = std::fopen(message.path.c_str(), "r");
  const auto lines = static_cast<std::size_t>(
      std::count(mailbox.begin(), mailbox.end(), '\n'));
  // Works off whole mailboxes; the unit is one of their lines.
  const auto rounds = [lines](auto read_all) {
    return [=, left = std::size_t{0}](std::size_t units) mutable {
      for (left += units; left >= lines; left -= lines) {
        read_all();
      }
    };
  };
  bench::Row row;
  row.name = "headers/body";
  row.unit = "line";
  row.ours = rounds([stream] {
    std::rewind(stream);
    long end = 0;
    unsigned count = 0;
    ParseBody(stream, &end, &count);
    bench::keep(&count);
  });
  row.limit =
      bench::Side{"fgets", rounds([stream] {
                    std::rewind(stream);
                    char line[1024];
                    while (std::fgets(line, sizeof line, stream) != nullptr) {
                      bench::keep(line);
                    }
                  })};
  row.bound = bench::Bound{"fgets", 1.0};
  row.count_units = 4 * lines;
  return row;
}

}  // namespace

int main(int argc, char** argv) {
#ifdef CONFIGAPI_BENCH_DOVECOT
  dovecot_start();
#endif
#ifdef CONFIGAPI_BENCH_GMIME
  g_mime_init();
#endif
  if (InitLineIO() != 0) {
    return 2;
  }
  const char* corpus = bench::corpus_folder();
  const std::vector<Message> messages =
      corpus != nullptr ? corpus_messages(std::string(corpus) + "/messages")
                        : made_messages();
  const std::string long_line = "Subject: " + std::string(5000, 's') + "\n";
  const std::string fold = "\n " + std::string(70, 'x');
  return bench::run(
      argc, argv,
      {mail_row(messages), body_row(), growth_row("many-headers", "", "X: y\n"),
       growth_row("many-received", "", "Received: x\n"),
       growth_row("many-lists", "", "To: a@b\n"),
       growth_row("no-headers", "", "n\n"),
       growth_row("folds", "Subject: s", fold),
       growth_row("folded-list", "To: a@b",
                  ",\n department.of.redundancy@mail.sales.example"),
       growth_row("long-line", "Subject: ", "s"),
       growth_row("long-lines", "", long_line)});
}
