// INI text, written and read byte for byte: what export writes and import,
// diff and check read. A reader of our own rather than inih, which cuts long
// names, knows no escapes and does not say where a line went wrong.
//
//   [Tuning]               a section; the keys below are its
//   DNStimeout=5           blanks around key and value do not count
//   TimeRetry+=6           one more value of the key
//   Greeting=" hello "     between the outer quotes everything as it stands;
//                          single ones do as well
//   Footer=$"a\nb"         with escapes: \n \r \t \\ \" and \xNN
//   Password=********      a secret that is not shown, to stay as it is
//   ; comment              also #
//
// The first three forms are read alike by the gateway and by whatever reads
// INI files as Windows does: nothing but a line's beginning starts a comment,
// and a backslash is one, so that \\SERVER\SHARE stands as it is. Escapes are
// written for a value alone that has control bytes or is no UTF-8.

#ifndef CONFIGAPI_TOOLS_INI_TEXT_H_
#define CONFIGAPI_TOOLS_INI_TEXT_H_

#include <cstddef>
#include <string>
#include <string_view>

namespace configapi::tool {

// Stands for a secret. As a value of its own it is written in quotes.
inline constexpr std::string_view kMask = "********";

// A line that says something.
struct IniLine {
  std::size_t number = 0;  // counted from 1
  std::string fault{};     // why it cannot be read; then nothing else counts
  std::string section{};
  std::string key{};  // empty: the line begins the section
  std::string value{};
  bool further = false;  // one more value of the key
  bool masked = false;   // there is a value, and the text does not tell it
};

// Takes a text apart line by line, whatever its bytes. Lines end with a line
// feed or carriage return and line feed; a byte-order mark in front is left
// out. Memory is that of one line.
class IniReader {
 public:
  // The text must outlive the reader.
  explicit IniReader(std::string_view text);

  // Takes the next line that is neither blank nor a comment. False at the end.
  bool next(IniLine* line);

 private:
  std::string_view take_line();
  void read(std::string_view text, IniLine* line);
  void read_section(std::string_view text, IniLine* line);
  void read_setting(std::string_view text, IniLine* line);

  std::string_view rest_;
  std::size_t number_ = 0;
  std::string section_;
  bool in_lost_section_ = false;  // behind a line that begins none, but tries
};

// A line as the reader takes it back, with its line feed.
// REQUIRES: names that the reader could have read.
std::string ini_section(std::string_view section);
std::string ini_setting(std::string_view key, std::string_view value,
                        bool further = false);
std::string ini_masked(std::string_view key);

// A value of any bytes, as it stands behind the '='.
std::string ini_value(std::string_view value);

}  // namespace configapi::tool

#endif  // CONFIGAPI_TOOLS_INI_TEXT_H_
