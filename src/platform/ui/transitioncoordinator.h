#pragma once

#include <Quillon/quillon_export.h>

#include <QObject>

#include <functional>
#include <vector>

class QVariantAnimation;

// Drives one present, dismiss, push or pop. Work that should move in step with the transition,
// or run once it has ended, is registered with animateAlongsideTransition(). A transition that
// is not animated ends before start() returns, so callers see a fixed order either way.
class QUILLON_EXPORT TULOTransitionCoordinator : public QObject
{
    Q_OBJECT

public:
    using Step = std::function<void(double progress)>;
    using Completion = std::function<void()>;

    // Duration of animated transitions, in milliseconds.
    static constexpr int TULOAnimatedDuration = 220;

    explicit TULOTransitionCoordinator(bool animated, QObject *parent = nullptr);
    ~TULOTransitionCoordinator() override;

    bool isAnimated() const { return m_animated; }
    bool isFinished() const { return m_finished; }

    // `animation` is called with the progress (0 to 1) while the transition runs; `completion`
    // after it has ended and the controllers have had their did-appear/did-disappear calls.
    // Returns false once the transition has already ended (nothing is registered then).
    bool animateAlongsideTransition(Step animation, Completion completion = {});

    // Runs the transition: `step` on every frame, then `finish`, then the registered completions,
    // then the coordinator deletes itself.
    void start(Step step, Completion finish);
    // Ends a running transition at once, as if its animation had reached the end.
    void finishNow();

private:
    void progress(double value);
    void end();

    bool m_animated;
    bool m_finished = false;
    Step m_step;
    Completion m_finish;
    std::vector<Step> m_alongside;
    std::vector<Completion> m_completions;
    QVariantAnimation *m_animation = nullptr;
};
