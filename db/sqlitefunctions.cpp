#include "db/sqlitefunctions.h"

#include <QSqlDatabase>
#include <QSqlDriver>
#include <QVariant>

#include <sqlite3.h>

#include <array>
#include <memory>
#include <vector>

namespace {

constexpr char32_t foldTableSize = 0x530; // Latin, Greek, Cyrillic

char32_t fold(char32_t c)
{
    static const std::array<char32_t, foldTableSize> table = [] {
        std::array<char32_t, foldTableSize> folded{};
        for (char32_t i = 0; i < foldTableSize; ++i)
            folded[i] = QChar::toCaseFolded(i);
        return folded;
    }();
    return c < foldTableSize ? table[c] : QChar::toCaseFolded(c);
}

/// Takes one code point off UTF-8 text that ends with a NUL; broken bytes count one by one.
char32_t nextCodePoint(const unsigned char *&at)
{
    const unsigned char first = *at++;
    if (first < 0xC0)
        return first;
    int more = first >= 0xF0 ? 3 : first >= 0xE0 ? 2 : 1;
    char32_t c = first & (0x3FU >> more);
    while (more > 0 && (*at & 0xC0) == 0x80) {
        c = (c << 6) | (*at++ & 0x3FU);
        --more;
    }
    return c;
}

/// One sign of a LIKE pattern.
struct PatternSign
{
    enum Kind { Exact, AnyOne, AnyRun } kind;
    char32_t folded;
};
using Pattern = std::vector<PatternSign>;

std::unique_ptr<Pattern> compile(const unsigned char *pattern, char32_t escape)
{
    auto compiled = std::make_unique<Pattern>();
    while (*pattern) {
        char32_t c = nextCodePoint(pattern);
        if (escape && c == escape && *pattern)
            compiled->push_back({PatternSign::Exact, fold(nextCodePoint(pattern))});
        else if (c == U'%')
            compiled->push_back({PatternSign::AnyRun, 0});
        else if (c == U'_')
            compiled->push_back({PatternSign::AnyOne, 0});
        else
            compiled->push_back({PatternSign::Exact, fold(c)});
    }
    return compiled;
}

/// Matches with one point to fall back to: the last "%" takes one sign more each time.
bool matches(const Pattern &pattern, const unsigned char *text)
{
    std::size_t at = 0;
    std::size_t retryAt = 0;
    const unsigned char *retryText = nullptr;
    for (;;) {
        if (at < pattern.size() && pattern[at].kind == PatternSign::AnyRun) {
            retryAt = ++at;
            retryText = text;
            if (at == pattern.size())
                return true;
            continue;
        }
        if (!*text)
            return at == pattern.size();
        const unsigned char *next = text;
        const char32_t c = nextCodePoint(next);
        if (at < pattern.size() &&
            (pattern[at].kind == PatternSign::AnyOne || pattern[at].folded == fold(c))) {
            ++at;
            text = next;
        } else if (retryText) {
            nextCodePoint(retryText);
            text = retryText;
            at = retryAt;
        } else {
            return false;
        }
    }
}

void deletePattern(void *pattern)
{
    delete static_cast<Pattern *>(pattern);
}

/// like(pattern, text [, escape]): "text LIKE pattern ESCAPE escape".
void likeFunction(sqlite3_context *context, int argumentCount, sqlite3_value **arguments)
{
    const unsigned char *patternText = sqlite3_value_text(arguments[0]);
    const unsigned char *text = sqlite3_value_text(arguments[1]);
    if (!patternText || !text)
        return; // NULL
    auto *pattern = static_cast<Pattern *>(sqlite3_get_auxdata(context, 0));
    std::unique_ptr<Pattern> owned;
    if (!pattern) {
        char32_t escape = 0;
        if (argumentCount == 3) {
            const unsigned char *escapeText = sqlite3_value_text(arguments[2]);
            if (!escapeText)
                return;
            escape = nextCodePoint(escapeText);
        }
        owned = compile(patternText, escape);
        pattern = owned.get();
    }
    sqlite3_result_int(context, matches(*pattern, text) ? 1 : 0);
    if (owned)
        sqlite3_set_auxdata(context, 0, owned.release(), deletePattern);
}

} // namespace

bool registerSqliteFunctions(const QSqlDatabase &database)
{
    const QVariant handle = database.driver()->handle();
    if (qstrcmp(handle.typeName(), "sqlite3*") != 0)
        return false;
    auto *sqlite = *static_cast<sqlite3 *const *>(handle.constData());
    if (!sqlite)
        return false;
    constexpr int flags = SQLITE_UTF8 | SQLITE_DETERMINISTIC;
    for (const int argumentCount : {2, 3}) {
        if (sqlite3_create_function_v2(sqlite, "like", argumentCount, flags, nullptr, likeFunction,
                                       nullptr, nullptr, nullptr) != SQLITE_OK)
            return false;
    }
    return true;
}
