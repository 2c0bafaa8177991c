#pragma once

#include <QString>

// The clear text of an application credential kept scrambled: each character at an even
// position (counting from 0) is lowered by one code unit, each at an odd position is kept.
QString TULOUnscrambledString(const QString &scrambled);
