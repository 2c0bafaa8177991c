#pragma once

#include <QString>

#include <cstdio>
#include <optional>

// Reads one secret line for `quillon accounts`. From a terminal it prompts on stderr and turns
// echo off while the user types; otherwise (a pipe, a file) it reads the first line of `input`,
// so scripts can hand the password in without it showing in the process list. The line's end
// is dropped, nothing else. nullopt at end of input or when the terminal cannot be read.
std::optional<QString> TULOAccountsReadSecret(const QString &prompt, FILE *input = stdin);
