#pragma once

#include <Quillon/quillon_export.h>

#include <QList>
#include <QPointer>
#include <QWidget>

class QLabel;
class QPushButton;
class TULOActivityIndicatorView;
#include <Quillon/platform/ui/barbuttonitem.h>
class TULONavigationItem;

// The bar above a navigation stack: the top item's title in the middle, its left button (or a
// back button titled after the item below), its right button.
class QUILLON_EXPORT TULONavigationBar : public QWidget
{
    Q_OBJECT

public:
    explicit TULONavigationBar(QWidget *parent = nullptr);

    // The stack of items, bottom first.
    void setItems(const QList<TULONavigationItem *> &items, bool animated = false);
    QList<TULONavigationItem *> items() const;
    TULONavigationItem *topItem() const;

    // What the bar shows now; for tests and screenshots.
    QString titleText() const;
    QPushButton *backButton() const { return m_backButton; }
    QPushButton *leftButton() const { return m_leftButton; }
    QPushButton *rightButton() const { return m_rightButton; }
    // Spins next to the title while the application talks to the network.
    TULOActivityIndicatorView *activityIndicator() const { return m_activity; }

    // The back button's title for a stack whose item below the top is `item`.
    static QString backTitleForItem(const TULONavigationItem *item);

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

Q_SIGNALS:
    void backRequested();

protected:
    void resizeEvent(QResizeEvent *event) override;
    void paintEvent(QPaintEvent *event) override;

private Q_SLOTS:
    void reload();

private:
    void configure(QPushButton *button, TULOBarButtonItem *item);
    void layoutContents();

    QList<QPointer<TULONavigationItem>> m_items;
    QLabel *m_title;
    QPushButton *m_backButton;
    QPushButton *m_leftButton;
    QPushButton *m_rightButton;
    TULOActivityIndicatorView *m_activity;
    QPointer<TULOBarButtonItem> m_leftItem;
    QPointer<TULOBarButtonItem> m_rightItem;
};
