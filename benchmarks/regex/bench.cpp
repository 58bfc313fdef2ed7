// Regular expressions beside others: the timing line of SRT, matched line by line and found all through a film.
#define PCRE2_CODE_UNIT_WIDTH 8
#include <pcre2.h>

#include <cstring>
#include <functional>
#include <regex>
#include <string>
#include <vector>

#include "benchmarks/measuring.h"
#include "quorel/support/regex.h"
#ifdef QUOREL_BENCH_RE2
#include <re2/re2.h>
#endif
#ifdef QUOREL_BENCH_ICU
#include <unicode/uregex.h>
#include <unicode/ustring.h>
#endif

namespace quorel::bench {
namespace {

const std::string pattern = R"((\d+):(\d{1,2}):(\d{1,2}),(\d{3})\s-->\s(\d+):(\d{2}):(\d{1,2}),(\d{3}))";

struct Sample {
    std::vector<std::string> timings, texts;
    std::string film;
};

Sample makeSample() {
    Sample sample;
    for (int i = 0; i < 1500; ++i) {
        char line[64];
        std::snprintf(line, sizeof line, "%02d:%02d:%02d,%03d --> %02d:%02d:%02d,%03d", i % 3, i % 60, i * 7 % 60,
                      i % 1000, i % 3, i % 60, i * 11 % 60, 999 - i % 1000);
        sample.timings.emplace_back(line);
        sample.texts.emplace_back("- Some line of dialogue, number " + std::to_string(i) + ", with w\u00F3rds.");
        sample.film += std::to_string(i) + "\n" + sample.timings.back() + "\n" + sample.texts.back() + "\n\n";
    }
    return sample;
}

// `isTiming` tells which of the two lists a line number is of.
using Find = std::function<bool(bool isTiming, std::size_t line)>;
using Count = std::function<std::size_t()>;

struct Contender {
    const char* role;
    const char* who;
    Find find;
    Count count;
};

void measure(const Sample& sample, const std::vector<Contender>& contenders) {
    const std::size_t lines = sample.timings.size();
    for (const bool isTiming : {true, false}) {
        Task task = Task::each(isTiming ? "match a timing line of SRT" : "refuse a line of text", "ns", lines);
        for (const Contender& contender : contenders) {
            task.add(contender.role, contender.who, [&find = contender.find, isTiming, lines] {
                std::size_t found = 0;
                for (std::size_t i = 0; i < lines; ++i) found += find(isTiming, i) ? 1U : 0U;
                return found;
            });
        }
    }
    Task task = Task("find the 1,500 timing lines of a film", sample.film.size());
    for (const Contender& contender : contenders) {
        if (!contender.count) continue;
        if (contender.count() != lines) std::fprintf(stderr, "%s finds something else\n", contender.who);
        task.add(contender.role, contender.who, contender.count);
    }
    task.limit("memory: memchr over the film",
               [&] { return std::memchr(sample.film.data(), 1, sample.film.size()) == nullptr ? 1 : 0; });
}

void run() {
    const Sample sample = makeSample();
    std::vector<Contender> contenders;
    const auto line = [&](bool isTiming, std::size_t i) -> const std::string& {
        return isTiming ? sample.timings[i] : sample.texts[i];
    };

    const Regex regex(pattern);
    Regex::Matcher matcher(regex);
    contenders.push_back({"sdk", "Matcher",
                          [&](bool isTiming, std::size_t i) {
                              return matcher.find(Regex::TextView::trusted(line(isTiming, i))) &&
                                     matcher.capture(0).upper > 0;
                          },
                          [&] {
                              const auto text = Regex::TextView::trusted(sample.film);
                              std::size_t found = 0;
                              for (bool is = matcher.find(text); is; is = matcher.findNext(text)) ++found;
                              return found;
                          }});
    contenders.push_back({"variant",
                          "SDK: hasMatch",
                          [&](bool isTiming, std::size_t i) { return regex.hasMatch(line(isTiming, i)); },
                          {}});
    contenders.push_back(
        {"variant", "SDK: firstMatch, matches",
         [&](bool isTiming, std::size_t i) { return regex.firstMatch(line(isTiming, i)).has_value(); },
         [&] { return regex.matches(sample.film).count(); }});

    int error = 0;
    PCRE2_SIZE offset = 0;
    pcre2_compile_context* const context = pcre2_compile_context_create(nullptr);
    pcre2_set_newline(context, PCRE2_NEWLINE_ANY);
    pcre2_code* const code = pcre2_compile(reinterpret_cast<PCRE2_SPTR>(pattern.c_str()), pattern.size(),
                                           PCRE2_UTF | PCRE2_UCP, &error, &offset, context);
    pcre2_jit_compile(code, PCRE2_JIT_COMPLETE);
    pcre2_match_data* const data = pcre2_match_data_create_from_pattern(code, nullptr);
    const auto match = [&](const std::string& text, std::size_t from) {
        return pcre2_jit_match(code, reinterpret_cast<PCRE2_SPTR>(text.data()), text.size(), from, 0, data,
                               nullptr);
    };
    contenders.push_back({"limit", "PCRE2 with its JIT, bare",
                          [&](bool isTiming, std::size_t i) { return match(line(isTiming, i), 0) > 0; },
                          [&] {
                              std::size_t found = 0;
                              for (std::size_t from = 0; match(sample.film, from) > 0; ++found)
                                  from = pcre2_get_ovector_pointer(data)[1];
                              return found;
                          }});

#ifdef QUOREL_BENCH_RE2
    const RE2 re2(pattern);
    re2::StringPiece groups[9];
    contenders.push_back(
        {"peer", "RE2",
         [&](bool isTiming, std::size_t i) {
             const std::string& text = line(isTiming, i);
             return re2.Match(text, 0, text.size(), RE2::UNANCHORED, groups, 9);
         },
         [&] {
             std::size_t found = 0;
             std::size_t from = 0;
             while (re2.Match(sample.film, from, sample.film.size(), RE2::UNANCHORED, groups, 9)) {
                 from = static_cast<std::size_t>(groups[0].data() + groups[0].size() - sample.film.data());
                 ++found;
             }
             return found;
         }});
#endif
#ifdef QUOREL_BENCH_ICU
    const auto wide = [](const std::string& text) {
        std::u16string result(text.size(), u'\0');
        int32_t length = 0;
        UErrorCode status = U_ZERO_ERROR;
        u_strFromUTF8(result.data(), static_cast<int32_t>(result.size()), &length, text.data(),
                      static_cast<int32_t>(text.size()), &status);
        result.resize(static_cast<std::size_t>(length));
        return result;
    };
    // It works on UTF-16, which is made beforehand.
    std::vector<std::u16string> wideLines[2];
    for (const bool isTiming : {false, true}) {
        for (const std::string& text : isTiming ? sample.timings : sample.texts)
            wideLines[isTiming ? 1 : 0].push_back(wide(text));
    }
    const std::u16string wideFilm = wide(sample.film);
    UErrorCode status = U_ZERO_ERROR;
    URegularExpression* const icu = uregex_openC(pattern.c_str(), 0, nullptr, &status);
    const auto set = [&](const std::u16string& text) {
        uregex_setText(icu, text.data(), static_cast<int32_t>(text.size()), &status);
    };
    contenders.push_back({"peer", "ICU",
                          [&](bool isTiming, std::size_t i) {
                              set(wideLines[isTiming ? 1 : 0][i]);
                              return uregex_find(icu, 0, &status) != 0;
                          },
                          [&] {
                              set(wideFilm);
                              std::size_t found = 0;
                              while (uregex_findNext(icu, &status)) ++found;
                              return found;
                          }});
#endif
    const std::regex standard(pattern, std::regex::optimize);
    std::smatch groupsOfStandard;
    contenders.push_back({"peer",
                          "std::regex",
                          [&](bool isTiming, std::size_t i) {
                              return std::regex_search(line(isTiming, i), groupsOfStandard, standard);
                          },
                          {}});
    measure(sample, contenders);

    pcre2_match_data_free(data);
    pcre2_code_free(code);
    pcre2_compile_context_free(context);
#ifdef QUOREL_BENCH_ICU
    uregex_close(icu);
#endif
}

}  // namespace
}  // namespace quorel::bench

int main(int count, char** arguments) {
    quorel::bench::Pace::setBy(count, arguments);
    quorel::bench::run();
}
