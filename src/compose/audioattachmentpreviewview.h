#pragma once

#include <Quillon/core/attachment.h>
#include <Quillon/platform/clientcontext.h>
#include <Quillon/quillon_export.h>

#include <QColor>
#include <QWidget>

class QLabel;

// A song or voice memo: the cover at the left, and beside it a category badge, the title, the
// artists and the year, coloured after the cover (background and text colours that keep
// readable contrast); without a cover, light grey with black text.
class QUILLON_EXPORT TULOAudioAttachmentPreviewView : public QWidget
{
    Q_OBJECT

public:
    TULOAudioAttachmentPreviewView(const TULOAttachmentPtr &attachment, const TULOClientContext &clientContext,
                                   QWidget *parent = nullptr);
    ~TULOAudioAttachmentPreviewView() override;

    QLabel *titleLabel() const { return m_titleLabel; }
    QLabel *artistLabel() const { return m_artistLabel; }
    QLabel *dateLabel() const { return m_dateLabel; }
    // Null when the attachment has no category.
    QLabel *categoryLabel() const { return m_categoryLabel; }
    QColor backgroundColor() const { return m_backgroundColor; }
    QColor textPrimaryColor() const { return m_textPrimaryColor; }
    QColor textSecondaryColor() const { return m_textSecondaryColor; }

    QSize sizeHint() const override;
    bool hasHeightForWidth() const override { return true; }
    int heightForWidth(int width) const override;
    static constexpr int CoverSide = 72;
    static constexpr int Padding = 8;

protected:
    void paintEvent(QPaintEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;

private:
    QImage m_cover;
    QColor m_backgroundColor;
    QColor m_textPrimaryColor;
    QColor m_textSecondaryColor;
    QLabel *m_titleLabel;
    QLabel *m_artistLabel;
    QLabel *m_dateLabel;
    QWidget *m_categoryBackgroundView = nullptr;
    QLabel *m_categoryLabel = nullptr;
};
