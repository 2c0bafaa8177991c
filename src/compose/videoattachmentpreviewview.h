#pragma once

#include <Quillon/core/attachment.h>
#include <Quillon/quillon_export.h>

#include <QImage>
#include <QWidget>

class QLabel;

// A video attachment: its thumbnail (or, without one, a frame of the video found off the main
// thread) filling a 16:9 box on black, a hairline border, and the title in white over a
// darkening gradient when there is a title.
class QUILLON_EXPORT TULOVideoAttachmentPreviewView : public QWidget
{
    Q_OBJECT

public:
    explicit TULOVideoAttachmentPreviewView(const TULOAttachmentPtr &attachment, QWidget *parent = nullptr);
    ~TULOVideoAttachmentPreviewView() override;

    QImage image() const { return m_image; }
    bool isLoading() const { return m_loading; }
    bool showsOverlay() const { return m_overlay; }
    QLabel *label() const { return m_label; }

    QSize sizeHint() const override;
    bool hasHeightForWidth() const override { return true; }
    int heightForWidth(int width) const override;

Q_SIGNALS:
    // A frame of the video was looked for; image() is null when none could be decoded.
    void imageLoaded();

protected:
    void paintEvent(QPaintEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;

private:
    QImage m_image;
    QLabel *m_label = nullptr;
    bool m_overlay = false;
    bool m_loading = false;
};
