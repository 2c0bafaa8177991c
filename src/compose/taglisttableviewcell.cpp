#include <Quillon/compose/taglisttableviewcell.h>

#include <QHBoxLayout>
#include <QLabel>

TULOTagListTableViewCell::TULOTagListTableViewCell(QWidget *parent)
    : TULOTableViewCell(parent)
{
    setImageSize(imageSize());
    if (auto *row = qobject_cast<QHBoxLayout *>(layout()))
        row->setSpacing(TextSpacing);
}

TULOTagListTableViewCell::~TULOTagListTableViewCell() = default;

QMargins TULOTagListTableViewCell::separatorInsetWithLayoutMargins(const QMargins &layoutMargins)
{
    return QMargins(layoutMargins.left() + imageSize().width() + TextSpacing, 0, 0, 0);
}
