#pragma once

#include <Quillon/quillon_export.h>

#include <QDebug>
#include <QHashFunctions>
#include <QMetaType>

// A row of a sectioned table: section, then row within the section.
class QUILLON_EXPORT TULOIndexPath
{
public:
    constexpr TULOIndexPath() = default;
    constexpr TULOIndexPath(int section, int row)
        : m_section(section)
        , m_row(row)
    {
    }
    static constexpr TULOIndexPath forRow(int row, int section) { return TULOIndexPath(section, row); }

    constexpr int section() const { return m_section; }
    constexpr int row() const { return m_row; }
    constexpr bool isValid() const { return m_section >= 0 && m_row >= 0; }

    friend constexpr bool operator==(const TULOIndexPath &a, const TULOIndexPath &b)
    {
        return a.m_section == b.m_section && a.m_row == b.m_row;
    }
    friend constexpr bool operator!=(const TULOIndexPath &a, const TULOIndexPath &b) { return !(a == b); }
    friend constexpr bool operator<(const TULOIndexPath &a, const TULOIndexPath &b)
    {
        return a.m_section != b.m_section ? a.m_section < b.m_section : a.m_row < b.m_row;
    }
    friend size_t qHash(const TULOIndexPath &path, size_t seed = 0) noexcept
    {
        return qHashMulti(seed, path.m_section, path.m_row);
    }

private:
    int m_section = -1;
    int m_row = -1;
};

Q_DECLARE_METATYPE(TULOIndexPath)

inline QDebug operator<<(QDebug debug, const TULOIndexPath &path)
{
    QDebugStateSaver saver(debug);
    debug.nospace() << "{" << path.section() << ", " << path.row() << "}";
    return debug;
}
