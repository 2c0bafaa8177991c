#pragma once

#include <Quillon/platform/ui/tableview.h>

#include <QWidget>

class QLabel;
class QVBoxLayout;

// One section of a table view: header text, the group of rows (a rounded card in the grouped
// style, with hairline separators between rows), footer text.
class TULOTableSectionView : public QWidget
{
public:
    TULOTableSectionView(TULOTableViewStyle style, const QString &header, const QString &footer);

    QLabel *header() const { return m_header; }
    QLabel *footer() const { return m_footer; }
    QVBoxLayout *rows() const { return m_groupLayout; }
    void relayout();

private:
    class Group;

    static QLabel *makeLabel(const QString &text, bool header);

    TULOTableViewStyle m_style;
    QLabel *m_header;
    QLabel *m_footer;
    Group *m_group;
    QVBoxLayout *m_groupLayout = nullptr;
};
