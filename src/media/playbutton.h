#pragma once

#include <Quillon/quillon_export.h>

// The store UI's play button role, as the rows that preview an item show it (the audio
// pickers' song and voice memo rows implement it).
class QUILLON_EXPORT TULOPlayButton
{
public:
    virtual ~TULOPlayButton() = default;
    virtual void hideProgressAnimated(bool animated) = 0;
    virtual void showPlayIndicator(bool show) = 0;
    virtual void setProgress(float progress, bool animated) = 0;
    virtual bool isShowingProgress() const = 0;
};
