#include <Quillon/compose/tokentextmimedata_p.h>

#include <Quillon/compose/tagtokentextattachment.h>

QStringList TULOTokenTextMimeData::formats() const
{
    QStringList list = QMimeData::formats();
    list.prepend(mimeType());
    return list;
}

bool TULOTokenTextMimeData::hasFormat(const QString &type) const
{
    return type == mimeType() || QMimeData::hasFormat(type);
}

std::shared_ptr<TULOTokenTextAttachment> TULOTokenTextMimeData::attachmentForSegment(const Segment &segment)
{
    if (!segment.isToken)
        return nullptr;
    if (const auto original = segment.attachment.lock())
        return original->copy();
    if (segment.representedObject.canConvert<TULOTag>() && segment.representedObject.metaType() == QMetaType::fromType<TULOTag>())
        return std::make_shared<TULOTagTokenTextAttachment>(segment.representedObject.value<TULOTag>());
    return nullptr;
}
