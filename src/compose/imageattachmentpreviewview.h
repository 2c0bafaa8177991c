#pragma once

#include <Quillon/core/attachment.h>
#include <Quillon/quillon_export.h>

#include <QImage>
#include <QWidget>

// A photo attachment: the attachment's image in memory, or else its data (or its file) decoded
// off the main thread at the size shown, filling the box (cropped, never stretched), with a
// hairline border. A light grey box while decoding or when there is nothing to show.
class QUILLON_EXPORT TULOImageAttachmentPreviewView : public QWidget
{
    Q_OBJECT

public:
    explicit TULOImageAttachmentPreviewView(const TULOAttachmentPtr &attachment, QWidget *parent = nullptr);
    ~TULOImageAttachmentPreviewView() override;

    QImage image() const { return m_image; }
    bool isLoading() const { return m_loading; }

    QSize sizeHint() const override;
    bool hasHeightForWidth() const override { return true; }
    int heightForWidth(int width) const override;
    static constexpr int PreferredWidth = 320;

Q_SIGNALS:
    // The decode ended; image() is null when the data was not an image.
    void imageLoaded();

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    QImage m_image;
    bool m_loading = false;
};
