#pragma once

#include <QString>
#include <QVariant>

#include <optional>

// Typed reads of decoded store replies (JSON or property-list values). A value of the wrong
// type reads as empty, so one bad field never spoils the others.

inline bool TULOLookupIsString(const QVariant &value)
{
    return value.typeId() == QMetaType::QString;
}

inline QString TULOLookupString(const QVariant &value)
{
    return TULOLookupIsString(value) ? value.toString() : QString();
}

inline bool TULOLookupIsNumber(const QVariant &value)
{
    switch (value.typeId()) {
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::Double:
    case QMetaType::Float:
    case QMetaType::Long:
    case QMetaType::ULong:
    case QMetaType::Short:
    case QMetaType::UShort:
        return true;
    default:
        return false;
    }
}

// A string as it is, a number as its decimal string (integral doubles without a fraction).
inline QString TULOLookupIdentifierString(const QVariant &value)
{
    if (TULOLookupIsString(value))
        return value.toString();
    if (!TULOLookupIsNumber(value))
        return QString();
    if (value.typeId() == QMetaType::Double || value.typeId() == QMetaType::Float) {
        const double number = value.toDouble();
        if (number == static_cast<double>(static_cast<qint64>(number)))
            return QString::number(static_cast<qint64>(number));
        return QString::number(number, 'g', 17);
    }
    if (value.typeId() == QMetaType::ULongLong || value.typeId() == QMetaType::ULong)
        return QString::number(value.toULongLong());
    return QString::number(value.toLongLong());
}

// A number, or a string that holds one; nullopt otherwise.
inline std::optional<double> TULOLookupDouble(const QVariant &value)
{
    if (TULOLookupIsNumber(value))
        return value.toDouble();
    if (TULOLookupIsString(value)) {
        bool ok = false;
        const double number = value.toString().toDouble(&ok);
        if (ok)
            return number;
    }
    return std::nullopt;
}
