#include <Quillon/platform/ui/transitioncoordinator.h>

#include <QEasingCurve>
#include <QVariantAnimation>

TULOTransitionCoordinator::TULOTransitionCoordinator(bool animated, QObject *parent)
    : QObject(parent)
    , m_animated(animated)
{
}

TULOTransitionCoordinator::~TULOTransitionCoordinator() = default;

bool TULOTransitionCoordinator::animateAlongsideTransition(Step animation, Completion completion)
{
    if (m_finished)
        return false;
    if (animation)
        m_alongside.push_back(std::move(animation));
    if (completion)
        m_completions.push_back(std::move(completion));
    return true;
}

void TULOTransitionCoordinator::start(Step step, Completion finish)
{
    m_step = std::move(step);
    m_finish = std::move(finish);
    if (!m_animated) {
        progress(1.0);
        end();
        return;
    }
    m_animation = new QVariantAnimation(this);
    m_animation->setStartValue(0.0);
    m_animation->setEndValue(1.0);
    m_animation->setDuration(TULOAnimatedDuration);
    m_animation->setEasingCurve(QEasingCurve::OutCubic);
    connect(m_animation, &QVariantAnimation::valueChanged, this,
            [this](const QVariant &value) { progress(value.toDouble()); });
    connect(m_animation, &QVariantAnimation::finished, this, &TULOTransitionCoordinator::end);
    progress(0.0);
    m_animation->start();
}

void TULOTransitionCoordinator::finishNow()
{
    if (m_finished)
        return;
    if (m_animation)
        m_animation->stop();
    progress(1.0);
    end();
}

void TULOTransitionCoordinator::progress(double value)
{
    if (m_step)
        m_step(value);
    // Copy: an alongside block may register another one.
    const auto alongside = m_alongside;
    for (const Step &step : alongside)
        step(value);
}

void TULOTransitionCoordinator::end()
{
    if (m_finished)
        return;
    m_finished = true;
    if (m_finish)
        m_finish();
    const auto completions = std::move(m_completions);
    m_completions.clear();
    for (const Completion &completion : completions)
        completion();
    deleteLater();
}
