#pragma once

#include <Quillon/quillon_export.h>

#include <QtGlobal>

// "Not found" location of a text range, as a caret-less selection reports it.
inline constexpr qsizetype TULONotFound = -1;

// A range of UTF-16 characters in a text: a location and a length.
struct QUILLON_EXPORT TULOTextRange
{
    qsizetype location = TULONotFound;
    qsizetype length = 0;

    qsizetype end() const { return location + length; }
    bool isNotFound() const { return location == TULONotFound; }
    // Start included, end excluded.
    bool contains(qsizetype index) const { return index >= location && index < end(); }
    bool operator==(const TULOTextRange &) const = default;
};
