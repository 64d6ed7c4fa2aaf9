// Quoting for the shell and for single-quoted comments, and reading a comment.
#ifndef BRINDLE_UTIL_KES_QUOTE_H
#define BRINDLE_UTIL_KES_QUOTE_H

#include <string>

class Kes_strlist;

// A backslash before every character the shell treats specially, blank
// included; a newline goes in single quotes, since a backslash would join the
// lines.  The result lives in a static buffer that the next call overwrites; it
// holds at most 2049 bytes.  Null gives null.
char *shell_escape(const char *text);

// Every text that goes to the shell as one word goes through one of these, not
// through escapes of its own.  shell_escape in a string of the caller's; null
// gives an empty word.
std::string kes_shell_word(const char *text);
// The same for a path that a program takes as an operand: a path beginning
// with "-" gets "./" in front, so that no program takes it for an option.
std::string kes_shell_path(const char *path);

// A backslash before each of  " # $ & ' ( ) * ; < > ? [ \ ] ^ ` { | }
// Blanks stay, so a command keeps its words.  out holds twice in's size.
char *kes_quote_str(const char *in, char *out);

// For a text that goes inside single quotes: each ' becomes '\''.  Stops before
// out would pass size - 2 bytes of text.  Returns out.
char *kes_quote_comment(const char *in, char *out, int size);

// Reads comment lines from standard input into list, without their newlines,
// until the end of input, a line "." or an empty line.  On a terminal it asks
// with "Comment?" and a "> " before each line.
void kes_read_comment(Kes_strlist *list);

#endif
