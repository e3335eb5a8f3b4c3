// Cuts an address list into addresses and files each as a recipient.

#include <configapi/internals.h>
#include <configapi/rfc822.h>

#include <array>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <utility>

#include "base/critical_section_lock.h"
#include "base/heap_text.h"
#include "rfc822/addrgram.h"
#include "rfc822/plainaddr.h"

namespace configapi {
namespace {

std::size_t length_between(const char* begin, const char* end) {
  return static_cast<std::size_t>(end - begin);
}

// Whether the double quotes of a text pair up; a backslash takes the byte
// behind it out of the count.
bool quotes_pair_up(const char* p) {
  bool paired = true;
  for (; *p != '\0'; ++p) {
    if (*p == '"') {
      paired = !paired;
    } else if (*p == '\\' && *++p == '\0') {
      break;
    }
  }
  return paired;
}

// The same for a text without backslashes, from its first quote on.
bool plain_quotes_pair_up(const char* quote) {
  bool paired = true;
  for (; quote != nullptr; quote = std::strchr(quote + 1, '"')) {
    paired = !paired;
  }
  return paired;
}

// A quoted quote would end a phrase for those who read it without its
// backslash, so it is taken out of the text.
void blank_quoted_quotes(char* text) {
  while ((text = std::strstr(text, "\\\"")) != nullptr) {
    *text++ = ' ';
    *text++ = ' ';
  }
}

// Makes a list ready to be parsed: blanks its quoted quotes, all at once, since
// for each address it would be a walk of all the rest. False, and it stays as
// it is, when its double quotes do not pair up.
bool prepare_quotes(char* list) {
  const char* const quote = std::strchr(list, '"');
  if (quote == nullptr) {
    return true;
  }
  if (std::strchr(list, '\\') == nullptr) {
    return plain_quotes_pair_up(quote);
  }
  if (!quotes_pair_up(list)) {
    return false;
  }
  blank_quoted_quotes(list);
  return true;
}

// What the globals hold before an address: empty parts.
void reset_globals() {
  const auto clear = [](char* buffer) {
    *buffer = '\0';
    return buffer;
  };
  localPart = clear(localBuf);
  domainPart = clear(domainBuf);
  phrasePart = clear(phraseBuf);
  specPart = clear(specBuf);
  routeaPart = clear(routeaBuf);
  routePart = clear(routeBuf);
  commentPart = clear(commentBuf);
  adrCanon = clear(canonbuf);
  wordPart = clear(wordBuf);
  LexDotSkip = 1;
}

void publish(const AddressParser& parser) {
  reset_globals();
  parser.publish();
}

// Sets a field that holds no text.
bool store(std::string_view text, char*& field) {
  field = heap_copy(text).release();
  return field != nullptr;
}

// Files the texts in a recipient that has none: all of them, or none.
void file_texts(const AddressTexts& texts, Recipient& rec) {
  if (!store(texts.local, rec.local) || !store(texts.domain, rec.domain) ||
      !store(texts.phrase, rec.phrase) || !store(texts.comment, rec.comment) ||
      !store(texts.canonical, rec.canon)) {
    Clear_RP(&rec);
  }
}

// The grammar is done with an address at its ">" and with a group at its ";",
// and leaves the comments and the separator behind it unread.
void pass_separator(Lexer& lexer, AddressParser::Ending ending) {
  for (;;) {
    lexer.cursor = skip_blanks(lexer.cursor);
    if (*lexer.cursor != '(') {
      break;
    }
    ++lexer.cursor;
    if (!lexer.skip_comment()) {
      --lexer.cursor;
      return;
    }
  }
  const char next = *lexer.cursor;
  if (next == ',' || (next == ';' && ending == AddressParser::Ending::kAngle)) {
    ++lexer.cursor;
  }
}

// Where to go on behind an address that broke off. The comma at which it did
// ends it; but behind a comma that is all there is of an address, the text up
// to the next comma goes with it.
const char* pass_broken(AddressParser& parser) {
  const char* const cursor = parser.lexer().cursor;
  return parser.broke_at_comma() ? cursor - 1 : strchrnul(cursor, ',');
}

// Parses the address at `text` into the recipient; gives the next address.
// The globals tell of an address that was refused, and of all others only
// where it is not one of a list.
const char* parse_address(const char* text, ListMemo* memo, Recipient& rec) {
  Lexer lexer;
  lexer.cursor = text;
  lexer.memo = memo;
  AddressParser parser(lexer);
  if (!parser.parse()) {
    publish(parser);
    adrerror("syntax error");
    return pass_broken(parser);
  }
  if (parser.has_address()) {
    if (parser.ending() != AddressParser::Ending::kNextToken) {
      pass_separator(parser.lexer(), parser.ending());
    }
    for (char** field :
         {&rec.local, &rec.domain, &rec.phrase, &rec.comment, &rec.canon}) {
      std::free(std::exchange(*field, nullptr));
    }
    file_texts(parser.texts(), rec);
  }
  if (memo == nullptr) {
    publish(parser);
  }
  return parser.lexer().cursor;
}

bool is_around_address(char byte) {
  return byte == ',' || is_class(byte, kBlank);
}

// An address as written: the text without the commas and blanks around it.
std::string_view as_written(const char* begin, const char* end) {
  while (begin != end && is_around_address(*begin)) {
    ++begin;
  }
  std::string_view text(begin, length_between(begin, end));
  while (text.size() > 1 && is_around_address(text.back())) {
    text.remove_suffix(1);
  }
  return text;
}

void append(RecipTable& table, Recipient* rec) {
  if (table.count == 0) {
    table.first = rec;
  } else {
    table.last->next = rec;
  }
  table.last = rec;
  ++table.count;
}

// Parses all addresses of a list. False when memory is out for a record.
bool parse_list(const char* const list, RecipTable& table) {
  ListMemo memo(list);
  HeapPtr<Recipient> rec;
  for (const char* cursor = list; *cursor != '\0';) {
    // The record of an address that was dropped serves the next one.
    if (rec == nullptr) {
      rec.reset(AllocateRecipient());
      if (rec == nullptr) {
        return false;
      }
    }
    const char* const begin = skip_blanks(*cursor == ',' ? cursor + 1 : cursor);
    PlainAddress plain;
    if (read_plain_address(begin, plain)) {
      file_texts(plain.texts, *rec);
      cursor = plain.next;
    } else {
      cursor = parse_address(begin, &memo, *rec);
      plain.written = as_written(begin, cursor);
    }
    if (rec->canon != nullptr) {
      rec->orig = heap_copy(plain.written).release();
      append(table, rec.release());
    }
  }
  return true;
}

}  // namespace
}  // namespace configapi

extern "C" {

unsigned int RecipParse(char* text, RecipTable* table, int reset) {
  return OBX_RecipParse(text, table, reset);
}

unsigned int OBX_RecipParse(char* text, RecipTable* table, int reset) {
  const configapi::CriticalSectionLock lock(&csRecipParse);
  return ST_RecipParse(text, table, reset);
}

unsigned int ST_RecipParse(char* text, RecipTable* table, int reset) {
  if (reset != 0) {
    *table = RecipTable{};
  }
  if (text == nullptr) {
    return 0;
  }
  while (configapi::is_class(*text, configapi::kBlank)) {
    ++text;
  }
  if (*text == '\0' || !configapi::prepare_quotes(text)) {
    return 0;
  }
  return configapi::parse_list(text, *table) ? table->count : 0;
}

char* ParseAddr(char* text, Recipient* rec) {
  for (auto* part : {&localBuf, &domainBuf, &phraseBuf, &specBuf, &routeaBuf,
                     &routeBuf, &commentBuf, &canonbuf, &wordBuf}) {
    std::memset(*part, 0, sizeof *part);
  }
  configapi::blank_quoted_quotes(text);
  const char* const next =
      configapi::parse_address(configapi::skip_blanks(text), nullptr, *rec);
  return text + (next - text);
}

int AssignRp(const char* src, char** field) {
  // The copy comes first: src may be the field's own text.
  char* copy = src != nullptr ? configapi::heap_copy(src).release() : nullptr;
  std::free(std::exchange(*field, copy));
  return src == nullptr || copy != nullptr ? 1 : 0;
}

}  // extern "C"
