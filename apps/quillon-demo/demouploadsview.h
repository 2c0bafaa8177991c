#pragma once

#include <QStyledItemDelegate>
#include <QWidget>

class QLabel;
class QListView;
class QPushButton;
class QStackedLayout;
class TULOPostOutboxModel;

// Draws one waiting post: its text, its state in words and, while it is sent, a progress bar.
class DemoUploadDelegate : public QStyledItemDelegate
{
    Q_OBJECT

public:
    using QStyledItemDelegate::QStyledItemDelegate;
    void paint(QPainter *painter, const QStyleOptionViewItem &option, const QModelIndex &index) const override;
    QSize sizeHint(const QStyleOptionViewItem &option, const QModelIndex &index) const override;
    // "Sending: 40 %", "Waiting to retry (attempt 2): <reason>", ...
    static QString statusText(const QModelIndex &index);
};

// The posts still on their way to the store, with Retry and Discard for the selected one.
class DemoUploadsView : public QWidget
{
    Q_OBJECT

public:
    explicit DemoUploadsView(TULOPostOutboxModel *model, QWidget *parent = nullptr);

    QListView *listView() const { return m_list; }

private:
    void updateState();

    TULOPostOutboxModel *m_model;
    QListView *m_list;
    QStackedLayout *m_stack = nullptr;
    QLabel *m_empty;
    QPushButton *m_retry;
    QPushButton *m_discard;
};
