// SPDX-License-Identifier: MIT
//
// Splitting lists of words and trimming white space.

#include "support.h"

#include <climits>
#include <cstdlib>
#include <cstring>

namespace {

constexpr const char *separators = " \t\n\r,";
constexpr const char *white_space = " \t\n\v\f\r";

size_t count_items(const char *text) {
    size_t count = 0;
    for (text += strspn(text, separators); *text; text += strspn(text, separators)) {
        text += strcspn(text, separators);
        count++;
    }
    return count;
}

} // namespace

int splitlist(const char *text, int *argc, char ***argv) {
    *argc = 0;
    *argv = nullptr;
    if (!text) return -1;

    const size_t count = count_items(text);
    if (count >= INT_MAX) return -1;
    auto **items = static_cast<char **>(calloc(count + 1, sizeof(char *)));
    if (!items) return -1;

    for (size_t i = 0; i < count; i++) {
        text += strspn(text, separators);
        const size_t length = strcspn(text, separators);
        items[i] = strndup(text, length);
        if (!items[i]) {
            freeargs(static_cast<int>(i), items);
            return -1;
        }
        text += length;
    }
    *argc = static_cast<int>(count);
    *argv = items;
    return 0;
}

void freeargs(int argc, char **argv) {
    if (!argv) return;
    for (int i = 0; i < argc; i++)
        free(argv[i]);
    free(argv);
}

char *strtrim(char *text) {
    if (!text) return text;
    const char *first = text + strspn(text, white_space);
    const char *end = first + strlen(first);
    while (end != first && strchr(white_space, end[-1]))
        end--;
    const auto length = static_cast<size_t>(end - first);
    memmove(text, first, length);
    text[length] = '\0';
    return text;
}
