#pragma once

#include <Quillon/platform/ui/tableviewcell.h>
#include <Quillon/quillon_export.h>

#include <QImage>

// The cover art row of a song: the prompt and the chosen cover, or an empty frame inviting
// one. Selecting the row is the table's business (it opens the picker or the edit options).
class QUILLON_EXPORT TULOAudioCoverImageSelectionTableViewCell : public TULOTableViewCell
{
    Q_OBJECT

public:
    static constexpr int TULOCoverSide = 56;

    explicit TULOAudioCoverImageSelectionTableViewCell(QWidget *parent = nullptr);

    QString promptText() const { return text(); }
    void setPromptText(const QString &text) { setText(text); }

    // A null image shows the empty frame.
    QImage coverImage() const { return m_coverImage; }
    void setCoverImage(const QImage &image);

    void prepareForReuse() override;

protected:
    void changeEvent(QEvent *event) override;
    void paintEvent(QPaintEvent *event) override;

private:
    void updateImage();
    QImage placeholderImage() const;

    QImage m_coverImage;
    // The scale of the device last painted on: the image is made for it, so 2x stays sharp.
    qreal m_scale = 1.0;
};
