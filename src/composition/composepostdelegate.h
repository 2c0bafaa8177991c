#pragma once

#include <Quillon/platform/error.h>
#include <Quillon/quillon_export.h>

#include <optional>

class TULOCompositionContainerViewController;
class TULOViewController;

enum TULOComposePostResult : qint64 {
    TULOComposePostResultCancelled = 0,
    TULOComposePostResultPosted = 1,
};

// What the host hears from the composition container. Every message is optional: a delegate
// that implements none lets Cancel and Post dismiss the container.
class QUILLON_EXPORT TULOComposePostDelegate
{
public:
    virtual ~TULOComposePostDelegate() = default;

    // Cancel or Post. The host removes the container; after Post the upload goes on without it.
    virtual void composePostViewControllerDidFinishWithResult(TULOCompositionContainerViewController *controller,
                                                              TULOComposePostResult result);
    // Asked once, when a loaded configuration arrives: whether microphone and camera may be
    // offered. nullopt keeps what the configuration says.
    virtual std::optional<bool> composePostViewControllerShouldAllowRecordingAttachments(
        TULOCompositionContainerViewController *controller);
    // The configuration could not be loaded; the error is the loader's own.
    virtual void composePostViewControllerConfigurationDidFailLoadWithError(
        TULOCompositionContainerViewController *controller, const TULOError &error);

protected:
    friend class TULOCompositionContainerViewController;
    // Set by the default bodies of the finishing messages: the host did not answer them, so
    // the container dismisses itself.
    bool m_didNotAnswer = false;
};

// The host's presenter of documents, told when the container is done with its document.
class QUILLON_EXPORT TULOModalDocumentController
{
public:
    virtual ~TULOModalDocumentController() = default;
    virtual void unloadDocumentForViewController(TULOViewController *controller) = 0;
};
