#pragma once

#include <Quillon/quillon_export.h>

#include <QImage>
#include <QWidget>

class QLabel;

// The content of one author's row in the author menu: the author's picture and name. It
// takes no clicks (the row under it does) and fills the row.
class QUILLON_EXPORT TULOAuthorAlertActionView : public QWidget
{
    Q_OBJECT

public:
    explicit TULOAuthorAlertActionView(QWidget *parent = nullptr);
    ~TULOAuthorAlertActionView() override;

    QString authorName() const;
    void setAuthorName(const QString &name);
    QImage image() const { return m_image; }
    void setImage(const QImage &image);

    static constexpr int ImageSide = 29;
    static constexpr int Margin = 8;

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    QLabel *m_nameLabel;
    QImage m_image;
};
