// Dates of mail: reading and writing one.

#include <configapi/rfcdate.h>

#include <array>
#include <cstddef>
#include <cstdlib>
#include <ctime>
#include <string>
#include <string_view>
#include <vector>

#include "harness.h"

#ifdef CONFIGAPI_BENCH_GMIME
#include <gmime/gmime-utils.h>
#endif
#ifdef CONFIGAPI_BENCH_ETPAN
#include <libetpan/libetpan.h>
#endif
#ifdef CONFIGAPI_BENCH_DOVECOT
#include "dovecot_dates.h"
#endif

namespace {

using Texts = std::vector<std::string>;

// A moment in the form that each side formats.
struct Moment {
  UTC_DATE record;
  std::tm fields;
  std::time_t time;
#ifdef CONFIGAPI_BENCH_GMIME
  GDateTime* gmime;
#endif
};

// Without a corpus: the forms that mail mostly has.
Texts made_dates() {
  constexpr std::array<const char*, 4> kZones = {" +0100", " -0800 (PST)",
                                                 " GMT", " EST"};
  constexpr std::time_t kStep = 1234567;  // seconds, about two weeks
  Texts dates;
  std::time_t time = 946684800;  // 1 January 2000
  for (std::size_t i = 0; i < 500; ++i, time += kStep) {
    std::tm fields{};
    std::array<char, 64> text{};
    gmtime_r(&time, &fields);
    const std::size_t length = std::strftime(text.data(), text.size(),
                                             "%a, %d %b %Y %H:%M:%S", &fields);
    dates.push_back(std::string(text.data(), length) +
                    kZones[i % kZones.size()]);
  }
  return dates;
}

std::vector<Moment> moments(const Texts& texts) {
  std::vector<Moment> all;
  for (const auto& text : texts) {
    UTC_DATE* date = nullptr;
    if (rfc2UTC(text.c_str(), &date) == 0) {
      continue;
    }
    Moment moment{};
    moment.record = *date;
    moment.fields.tm_year = date->year - 1900;
    moment.fields.tm_mon = date->month - 1;
    moment.fields.tm_mday = date->day;
    moment.fields.tm_hour = date->hour;
    moment.fields.tm_min = date->minute;
    moment.fields.tm_sec = date->second;
    moment.time = timegm(&moment.fields) - std::time_t{60} * date->zone;
#ifdef CONFIGAPI_BENCH_GMIME
    GTimeZone* zone = g_time_zone_new_offset(60 * date->zone);
    moment.gmime = g_date_time_new(zone, date->year, date->month, date->day,
                                   date->hour, date->minute, date->second);
    g_time_zone_unref(zone);
#endif
    std::free(date);
    all.push_back(moment);
  }
  return all;
}

Texts ctime_texts(const std::vector<Moment>& all) {
  Texts texts;
  for (const auto& moment : all) {
    std::array<char, 64> text{};
    texts.emplace_back(asctime_r(&moment.fields, text.data()));
  }
  return texts;
}

bench::Row parse_row(const Texts& texts) {
  bench::Row row;
  row.name = "dates/parse";
  row.unit = "date";
  row.ours = bench::over(texts, [](const std::string& text) {
    UTC_DATE* date = nullptr;
    rfc2UTC(text.c_str(), &date);
    std::free(date);
  });
#ifdef CONFIGAPI_BENCH_DOVECOT
  row.peers.push_back(
      {"dovecot", bench::over(texts, [](const std::string& text) {
         std::time_t time = 0;
         dovecot_parse_date(text.data(), text.size(), &time);
         bench::keep(&time);
       })});
#endif
#ifdef CONFIGAPI_BENCH_GMIME
  row.peers.push_back({"gmime", bench::over(texts, [](const std::string& text) {
                         GDateTime* date =
                             g_mime_utils_header_decode_date(text.c_str());
                         if (date != nullptr) {
                           g_date_time_unref(date);
                         }
                       })});
#endif
#ifdef CONFIGAPI_BENCH_ETPAN
  row.peers.push_back(
      {"libetpan", bench::over(texts, [](const std::string& text) {
         std::size_t at = 0;
         mailimf_date_time* date = nullptr;
         if (mailimf_date_time_parse(text.data(), text.size(), &at, &date) ==
             MAILIMF_NO_ERROR) {
           mailimf_date_time_free(date);
         }
       })});
#endif
  row.peers.push_back(
      {"strptime", bench::over(texts, [](const std::string& text) {
         std::tm fields{};
         strptime(text.c_str(), "%a, %d %b %Y %H:%M:%S %z", &fields);
         bench::keep(&fields);
       })});
  // The fastest of those that are installed.
  row.bound = bench::Bound{row.peers.front().name, 1.0};
  row.count_units = texts.size();
  return row;
}

bench::Row ctime_row(const Texts& texts) {
  bench::Row row;
  row.name = "dates/ctime";
  row.unit = "date";
  row.ours = bench::over(texts, [](const std::string& text) {
    UTC_DATE* date = nullptr;
    ctime2UTC(text.c_str(), &date);
    std::free(date);
  });
  row.peers.push_back(
      {"strptime", bench::over(texts, [](const std::string& text) {
         std::tm fields{};
         strptime(text.c_str(), "%a %b %d %H:%M:%S %Y", &fields);
         bench::keep(&fields);
       })});
  row.bound = bench::Bound{"strptime", 1.0};
  row.count_units = texts.size();
  return row;
}

bench::Row format_row(const std::vector<Moment>& all) {
  bench::Row row;
  row.name = "dates/format";
  row.unit = "date";
  row.ours = bench::over(all, [](const Moment& moment) {
    UTC_DATE record = moment.record;
    std::array<char, 64> text;
    UTC2rfc(&record, text.data());
    bench::keep(text.data());
  });
#ifdef CONFIGAPI_BENCH_DOVECOT
  row.peers.push_back({"dovecot", bench::over(all, [](const Moment& moment) {
                         dovecot_format_date(moment.time);
                       })});
#endif
#ifdef CONFIGAPI_BENCH_GMIME
  row.peers.push_back({"gmime", bench::over(all, [](const Moment& moment) {
                         g_free(g_mime_utils_header_format_date(moment.gmime));
                       })});
#endif
  row.peers.push_back({"strftime", bench::over(all, [](const Moment& moment) {
                         std::array<char, 64> text;
                         const std::size_t length = std::strftime(
                             text.data(), text.size(),
                             "%a, %e %b %Y %H:%M:%S %z", &moment.fields);
                         bench::keep(&length);
                       })});
  row.bound = bench::Bound{"strftime", 1.0};
  row.count_units = all.size();
  return row;
}

}  // namespace

int main(int argc, char** argv) {
#ifdef CONFIGAPI_BENCH_DOVECOT
  dovecot_start();
#endif
  const Texts texts = bench::corpus_folder() != nullptr
                          ? bench::corpus_cases("dates")
                          : made_dates();
  const std::vector<Moment> all = moments(texts);
  const Texts ctimes = ctime_texts(all);
  return bench::run(argc, argv,
                    {parse_row(texts), ctime_row(ctimes), format_row(all)});
}
