#include "compiler/light_list_check.h"

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace {

struct CWord {
    std::string Text;
    int32_t Line;
};

// The words of the list as the token reader cuts them: runs of characters
// up to white space, a quote or a bracket; a quoted text with its quotes; a
// bracket alone.
std::vector<CWord> SplitWords(const std::string& text)
{
    auto isSpace = [](char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; };
    auto isBracket = [](char c) {
        return c == '{' || c == '}' || c == '(' || c == ')' || c == '[' || c == ']';
    };
    std::vector<CWord> words;
    int32_t line = 1;
    size_t i = 0;
    while (i < text.size()) {
        if (isSpace(text[i])) {
            line += text[i++] == '\n' ? 1 : 0;
            continue;
        }
        const int32_t start = line;
        size_t end = i + 1;
        if (text[i] == '"') {
            while (end < text.size() && text[end] != '"')
                line += text[end++] == '\n' ? 1 : 0;
            end = std::min(end + 1, text.size());
        } else if (!isBracket(text[i])) {
            while (end < text.size() && !isSpace(text[end]) && text[end] != '"' &&
                   !isBracket(text[end]))
                ++end;
        }
        words.push_back({text.substr(i, end - i), start});
        i = end;
    }
    return words;
}

const char* const FIELDS[] = {"red", "green", "blue", "intensity"};

// One number of an entry: whether it is whole, fits 32 bits and lies in its
// range. Warnings go to err.
void CheckNumber(const std::string& where, const CWord& word, int field, std::ostream& err)
{
    errno = 0;
    char* pEnd = nullptr;
    const long long value = std::strtoll(word.Text.c_str(), &pEnd, 10);
    const bool bWhole = pEnd != word.Text.c_str() && *pEnd == '\0';
    const std::string prefix = "warning: " + where + ":" + std::to_string(word.Line) + ": " +
                               FIELDS[field] + " '" + word.Text + "' ";
    if (!bWhole) {
        err << prefix << "is not a whole number; it is read as " << std::atoi(word.Text.c_str())
            << "\n";
        return;
    }
    if (errno == ERANGE || value < INT32_MIN || value > INT32_MAX) {
        err << prefix << "is out of range (a 32-bit whole number)\n";
        return;
    }
    if (field < 3 && (value < 0 || value > 255))
        err << prefix << "is outside 0 to 255; it is kept as it stands\n";
    else if (field == 3 && value < 0)
        err << prefix << "is negative: the texture darkens what it lights\n";
}

} // namespace

bool CheckLightList(const char* pszPath, CTexNameNode* pNames, std::ostream& err)
{
    std::ifstream file(pszPath, std::ios::binary);
    if (!file)
        return false;
    const std::string text{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    const std::vector<CWord> words = SplitWords(text);
    const std::string where = pszPath;
    size_t i = 0;
    for (; i + 5 <= words.size(); i += 5) {
        const CWord& name = words[i];
        if (!FindName(pNames, name.Text.c_str()))
            err << "warning: " << where << ":" << name.Line << ": texture '" << name.Text
                << "' is not in the map; its entry lights nothing\n";
        for (int field = 0; field < 4; ++field)
            CheckNumber(where, words[i + 1 + static_cast<size_t>(field)], field, err);
    }
    if (i < words.size())
        err << "warning: " << where << ":" << words[i].Line << ": the last entry has "
            << words.size() - i << " of its 5 words; it is dropped\n";
    return true;
}
