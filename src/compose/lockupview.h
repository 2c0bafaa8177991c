#pragma once

#include <Quillon/platform/store/artworkrequest.h>
#include <Quillon/quillon_export.h>

#include <QImage>
#include <QWidget>

#include <memory>

class QLabel;
class TULOStoreItemArtworkRequest;

// The row of the store item a post is about: its artwork at 48 by 48 points, a title and a
// subtitle (artist and collection).
class QUILLON_EXPORT TULOLockupView : public QWidget, public TULOArtworkRequestDelegate
{
    Q_OBJECT

public:
    explicit TULOLockupView(QWidget *parent = nullptr);
    ~TULOLockupView() override;

    QString title() const;
    void setTitle(const QString &title);
    QString subtitle() const;
    void setSubtitle(const QString &subtitle);

    // Shows the request's image once it loads (whoever loads it); a placeholder until then.
    void adoptArtworkRequest(const std::shared_ptr<TULOStoreItemArtworkRequest> &request);
    std::shared_ptr<TULOStoreItemArtworkRequest> artworkRequest() const { return m_request; }
    QImage image() const { return m_image; }

    static constexpr int ArtworkSide = 48;
    QSize sizeHint() const override;

    void artworkRequestDidLoadImage(const std::shared_ptr<TULOArtworkRequest> &request, const QImage &image) override;

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    QLabel *m_titleLabel;
    QLabel *m_subtitleLabel;
    std::shared_ptr<TULOStoreItemArtworkRequest> m_request;
    QImage m_image;
};
