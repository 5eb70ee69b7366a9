#pragma once

#include <string_view>

#include "Target.h"

namespace MediaServer {

/// A condition is one expression: its texts and brackets end, and nothing outside its texts begins another statement
/// or a comment. (Quotes are doubled inside texts, so each changes from inside to outside or back.)
inline void RequireOneExpression(std::string_view condition) {
    bool quoted = false;
    int depth = 0;
    char before = 0;
    for (const char c : condition) {
        Require(c != '\0', "no NUL byte ends the statement");
        if (c == '\'') quoted = !quoted;
        if (!quoted) {
            depth += c == '(' ? 1 : c == ')' ? -1 : 0;
            Require(depth >= 0, "no bracket closes what was not opened");
            Require(c != ';' && c != '"' && c != '\\' && c != '$', "nothing of the stranger's stands outside a text");
            Require(!(c == '-' && before == '-') && !(c == '*' && before == '/'), "there is no comment");
        }
        before = c;
    }
    Require(!quoted && depth == 0, "texts and brackets end");
}

}  // namespace MediaServer
