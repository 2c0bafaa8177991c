#pragma once

#include <Quillon/platform/ui/tableviewcell.h>
#include <Quillon/quillon_export.h>

#include <QMargins>

// A row of the tag completion list: the tag's 29-point thumbnail at the leading margin and its
// name 9 points after it.
class QUILLON_EXPORT TULOTagListTableViewCell : public TULOTableViewCell
{
    Q_OBJECT

public:
    explicit TULOTagListTableViewCell(QWidget *parent = nullptr);
    ~TULOTagListTableViewCell() override;

    static QSize imageSize() { return QSize(29, 29); }
    static constexpr int TextSpacing = 9;
    // The separator starts under the text: the margins' left plus the image and the spacing.
    static QMargins separatorInsetWithLayoutMargins(const QMargins &layoutMargins);
};
