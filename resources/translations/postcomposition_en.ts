<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="en">
<context>
    <name>PostComposition</name>
    <message id="ACCOUNT_MANAGE_CANCEL_BUTTON">
        <source>Cancel</source>
        <translation>Cancel</translation>
    </message>
    <message id="ACCOUNT_MANAGE_DELETE_ACCOUNT_BUTTON">
        <source>Delete Account</source>
        <translation>Delete Account</translation>
    </message>
    <message id="ACCOUNT_MANAGE_DELETE_CONFIRMATION_BUTTON_CANCEL">
        <source>Cancel</source>
        <translation>Cancel</translation>
    </message>
    <message id="ACCOUNT_MANAGE_DELETE_CONFIRMATION_BUTTON_DELETE">
        <source>Delete</source>
        <translation>Delete</translation>
    </message>
    <message id="ACCOUNT_MANAGE_DELETE_CONFIRMATION_MESSAGE_%@_%@">
        <source>Deleting this account removes it and its password from this device.</source>
        <translation>Deleting this account removes it and its password from this device.</translation>
    </message>
    <message id="ACCOUNT_MANAGE_DELETE_CONFIRMATION_MESSAGE_FACEBOOK_HANDSET">
        <source>Deleting this Facebook account removes it from this phone. Your posts will no longer be shared to Facebook.</source>
        <translation>Deleting this Facebook account removes it from this phone. Your posts will no longer be shared to Facebook.</translation>
    </message>
    <message id="ACCOUNT_MANAGE_DELETE_CONFIRMATION_MESSAGE_FACEBOOK_PLAYER">
        <source>Deleting this Facebook account removes it from this player. Your posts will no longer be shared to Facebook.</source>
        <translation>Deleting this Facebook account removes it from this player. Your posts will no longer be shared to Facebook.</translation>
    </message>
    <message id="ACCOUNT_MANAGE_DELETE_CONFIRMATION_MESSAGE_FACEBOOK_TABLET">
        <source>Deleting this Facebook account removes it from this tablet. Your posts will no longer be shared to Facebook.</source>
        <translation>Deleting this Facebook account removes it from this tablet. Your posts will no longer be shared to Facebook.</translation>
    </message>
    <message id="ACCOUNT_MANAGE_DELETE_CONFIRMATION_MESSAGE_TWITTER_HANDSET">
        <source>Deleting this Twitter account removes it and its password from this phone. Your posts will no longer be shared to Twitter.</source>
        <translation>Deleting this Twitter account removes it and its password from this phone. Your posts will no longer be shared to Twitter.</translation>
    </message>
    <message id="ACCOUNT_MANAGE_DELETE_CONFIRMATION_MESSAGE_TWITTER_PLAYER">
        <source>Deleting this Twitter account removes it and its password from this player. Your posts will no longer be shared to Twitter.</source>
        <translation>Deleting this Twitter account removes it and its password from this player. Your posts will no longer be shared to Twitter.</translation>
    </message>
    <message id="ACCOUNT_MANAGE_DELETE_CONFIRMATION_MESSAGE_TWITTER_TABLET">
        <source>Deleting this Twitter account removes it and its password from this tablet. Your posts will no longer be shared to Twitter.</source>
        <translation>Deleting this Twitter account removes it and its password from this tablet. Your posts will no longer be shared to Twitter.</translation>
    </message>
    <message id="ACCOUNT_MANAGE_DELETE_CONFIRMATION_TITLE">
        <source>Delete Account?</source>
        <translation>Delete Account?</translation>
    </message>
    <message id="ACCOUNT_MANAGE_DONE_BUTTON">
        <source>Done</source>
        <translation>Done</translation>
    </message>
    <message id="ACCOUNT_MANAGE_UNLINK_ACCOUNT_BUTTON">
        <source>Unlink Account</source>
        <translation>Unlink Account</translation>
    </message>
    <message id="ACCOUNT_MANAGE_UNLINK_CONFIRMATION_BUTTON_CANCEL">
        <source>Cancel</source>
        <translation>Cancel</translation>
    </message>
    <message id="ACCOUNT_MANAGE_UNLINK_CONFIRMATION_BUTTON_UNLINK">
        <source>Unlink</source>
        <translation>Unlink</translation>
    </message>
    <message id="ACCOUNT_MANAGE_UNLINK_CONFIRMATION_MESSAGE_FACEBOOK">
        <source>Posts by %@ will no longer be shared to Facebook. You can link the account again at any time.</source>
        <translation>Posts by %@ will no longer be shared to Facebook. You can link the account again at any time.</translation>
    </message>
    <message id="ACCOUNT_MANAGE_UNLINK_CONFIRMATION_TITLE">
        <source>Unlink Account?</source>
        <translation>Unlink Account?</translation>
    </message>
    <message id="ACCOUNT_SETUP_ERROR_BODY_BAD_CREDENTIALS">
        <source>The user name or password is incorrect.</source>
        <translation>The user name or password is incorrect.</translation>
    </message>
    <message id="ACCOUNT_SETUP_ERROR_BODY_NO_INTERNET">
        <source>You're not connected to the internet. Check your connection and try again.</source>
        <translation>You're not connected to the internet. Check your connection and try again.</translation>
    </message>
    <message id="ACCOUNT_SETUP_ERROR_BODY_TWITTER_2FA">
        <source>Twitter wants to verify this sign-in. Generate a temporary password in Twitter's security settings and use it here.</source>
        <translation>Twitter wants to verify this sign-in. Generate a temporary password in Twitter's security settings and use it here.</translation>
    </message>
    <message id="ACCOUNT_SETUP_ERROR_BUTTON_OK">
        <source>OK</source>
        <translation>OK</translation>
    </message>
    <message id="ACCOUNT_SETUP_ERROR_TITLE_GENERIC">
        <source>Couldn't Sign In</source>
        <translation>Couldn't Sign In</translation>
    </message>
    <message id="ACCOUNT_SETUP_ERROR_TITLE_NEEDS_APPROVAL">
        <source>Approval Needed</source>
        <translation>Approval Needed</translation>
    </message>
    <message id="ACCOUNT_SETUP_FACEBOOK_OPEN_SETTINGS_BUTTON_OK">
        <source>OK</source>
        <translation>OK</translation>
    </message>
    <message id="ACCOUNT_SETUP_FACEBOOK_OPEN_SETTINGS_BUTTON_SETTINGS">
        <source>Settings</source>
        <translation>Settings</translation>
    </message>
    <message id="ACCOUNT_SETUP_PASSWORD_LABEL">
        <source>Password</source>
        <translation>Password</translation>
    </message>
    <message id="ACCOUNT_SETUP_REQUIRED_PLACEHOLDER">
        <source>Required</source>
        <translation>Required</translation>
    </message>
    <message id="ACCOUNT_SETUP_SIGN_IN_BUTTON">
        <source>Sign In</source>
        <translation>Sign In</translation>
    </message>
    <message id="ACCOUNT_SETUP_USER_NAME_FACEBOOK_PLACEHOLDER">
        <source>email@example.com</source>
        <translation>email@example.com</translation>
    </message>
    <message id="ACCOUNT_SETUP_USER_NAME_LABEL">
        <source>User Name</source>
        <translation>User Name</translation>
    </message>
    <message id="ACCOUNT_SETUP_USER_NAME_TWITTER_PLACEHOLDER">
        <source>@username</source>
        <translation>@username</translation>
    </message>
    <message id="ALSO_SHARING_TO">
        <source>Also sharing to</source>
        <translation>Also sharing to</translation>
    </message>
    <message id="ATTACHMENT_CANCEL_BUTTON">
        <source>Cancel</source>
        <translation>Cancel</translation>
    </message>
    <message id="ATTACHMENT_LIMIT_REACHED_%@_%@">
        <source>A post can have %@ attachments; %@ more were not added.</source>
        <translation>A post can have %@ attachments; %@ more were not added.</translation>
    </message>
    <message id="ATTACHMENT_UNREADABLE_FILE_%@">
        <source>“%@” cannot be read.</source>
        <translation>“%@” cannot be read.</translation>
    </message>
    <message id="ATTACHMENT_UNSUPPORTED_FILE_%@">
        <source>“%@” is not a photo, video or song, so it cannot be attached.</source>
        <translation>“%@” is not a photo, video or song, so it cannot be attached.</translation>
    </message>
    <message id="ATTACHMENT_WORKFLOW_ARTIST_LABEL">
        <source>Artist</source>
        <translation>Artist</translation>
    </message>
    <message id="ATTACHMENT_WORKFLOW_ARTIST_PLACEHOLDER">
        <source>Add artists</source>
        <translation>Add artists</translation>
    </message>
    <message id="ATTACHMENT_WORKFLOW_DONE_BUTTON">
        <source>Done</source>
        <translation>Done</translation>
    </message>
    <message id="ATTACHMENT_WORKFLOW_EXPLICIT_LABEL">
        <source>Explicit</source>
        <translation>Explicit</translation>
    </message>
    <message id="ATTACHMENT_WORKFLOW_TITLE_LABEL">
        <source>Title</source>
        <translation>Title</translation>
    </message>
    <message id="ATTACHMENT_WORKFLOW_TITLE_PLACEHOLDER">
        <source>Untitled</source>
        <translation>Untitled</translation>
    </message>
    <message id="ATTACH_AUDIO_BUTTON">
        <source>Upload Audio</source>
        <translation>Upload Audio</translation>
    </message>
    <message id="ATTACH_PHOTOS_BUTTON_%@">
        <source>Attach %@ Photos</source>
        <translation>Attach %@ Photos</translation>
    </message>
    <message id="ATTACH_PHOTO_BUTTON">
        <source>Attach Photo</source>
        <translation>Attach Photo</translation>
    </message>
    <message id="ATTRIBUTION_LABEL">
        <source>Attribution</source>
        <translation>Attribution</translation>
    </message>
    <message id="ATTRIBUTION_PERSON_%@_FROM_GROUP_%@">
        <source>%@ from %@</source>
        <translation>%@ from %@</translation>
    </message>
    <message id="ATTRIBUTION_POST_AS">
        <source>Post As</source>
        <translation>Post As</translation>
    </message>
    <message id="AUDIO_PICKER_ATTACH_BUTTON">
        <source>Attach</source>
        <translation>Attach</translation>
    </message>
    <message id="AUDIO_PICKER_EMPTY_MESSAGE">
        <source>There are no songs or voice memos in your music folder yet.</source>
        <translation>There are no songs or voice memos in your music folder yet.</translation>
    </message>
    <message id="ATTACHMENT_NOT_ADDED_OK_BUTTON">
        <source>OK</source>
        <translation>OK</translation>
    </message>
    <message id="ATTACHMENT_NOT_ADDED_TITLE">
        <source>Not Added</source>
        <translation>Not Added</translation>
    </message>
    <message id="AUDIO_PICKER_EMPTY_OK_BUTTON">
        <source>OK</source>
        <translation>OK</translation>
    </message>
    <message id="AUDIO_PICKER_EMPTY_TITLE">
        <source>No Songs</source>
        <translation>No Songs</translation>
    </message>
    <message id="AUDIO_PICKER_LOADING">
        <source>Loading…</source>
        <translation>Loading…</translation>
    </message>
    <message id="AUDIO_PICKER_NO_RESULTS_%@">
        <source>No songs or voice memos match “%@”.</source>
        <translation>No songs or voice memos match “%@”.</translation>
    </message>
    <message id="AUDIO_PICKER_SEARCH_PLACEHOLDER">
        <source>Search titles, artists and albums</source>
        <translation>Search titles, artists and albums</translation>
    </message>
    <message id="AUDIO_PICKER_SONGS">
        <source>Songs</source>
        <translation>Songs</translation>
    </message>
    <message id="AUDIO_PICKER_TITLE">
        <source>Songs and Voice Memos</source>
        <translation>Songs and Voice Memos</translation>
    </message>
    <message id="AUDIO_PICKER_VOICE_MEMOS">
        <source>Voice Memos</source>
        <translation>Voice Memos</translation>
    </message>
    <message id="AUDIO_PICKER_VOICE_MEMO_DURATION_FORMAT_%@_%@_%@">
        <source>%@:%@:%@</source>
        <translation>%@:%@:%@</translation>
    </message>
    <message id="AUDIO_WORKFLOW_ATTACH_TO_ALBUM">
        <source>Album</source>
        <translation>Album</translation>
    </message>
    <message id="AUDIO_WORKFLOW_ATTACH_TO_ALBUM_PLACEHOLDER">
        <source>None</source>
        <translation>None</translation>
    </message>
    <message id="AUDIO_WORKFLOW_ATTACH_TO_ALBUM_PROMPT">
        <source>Choose the album this audio belongs to.</source>
        <translation>Choose the album this audio belongs to.</translation>
    </message>
    <message id="AUDIO_WORKFLOW_COVER_ART_CANCEL_BUTTON">
        <source>Cancel</source>
        <translation>Cancel</translation>
    </message>
    <message id="AUDIO_WORKFLOW_COVER_ART_EDIT_BUTTON">
        <source>Choose Cover Art…</source>
        <translation>Choose Cover Art…</translation>
    </message>
    <message id="AUDIO_WORKFLOW_COVER_ART_PROMPT">
        <source>Cover Art</source>
        <translation>Cover Art</translation>
    </message>
    <message id="AUDIO_WORKFLOW_COVER_ART_REMOVE_BUTTON">
        <source>Remove Cover Art</source>
        <translation>Remove Cover Art</translation>
    </message>
    <message id="AUDIO_WORKFLOW_SONG_TYPE_LABEL">
        <source>Song Type</source>
        <translation>Song Type</translation>
    </message>
    <message id="AUDIO_WORKFLOW_TITLE">
        <source>Audio Details</source>
        <translation>Audio Details</translation>
    </message>
    <message id="AUTHOR_CANCEL_BUTTON">
        <source>Cancel</source>
        <translation>Cancel</translation>
    </message>
    <message id="AUTHOR_SELECTION_TITLE">
        <source>Post As</source>
        <translation>Post As</translation>
    </message>
    <message id="BACK_BUTTON_TITLE">
        <source>Back</source>
        <translation>Back</translation>
    </message>
    <message id="CAMERA_RECORD_BUTTON">
        <source>Record Video</source>
        <translation>Record Video</translation>
    </message>
    <message id="CAMERA_STOP_BUTTON">
        <source>Stop</source>
        <translation>Stop</translation>
    </message>
    <message id="CAMERA_TAKE_PHOTO_BUTTON">
        <source>Take Photo</source>
        <translation>Take Photo</translation>
    </message>
    <message id="CAMERA_TITLE">
        <source>Camera</source>
        <translation>Camera</translation>
    </message>
    <message id="CAMERA_UNAVAILABLE">
        <source>No camera is connected.</source>
        <translation>No camera is connected.</translation>
    </message>
    <message id="CATEGORY_Song">
        <source>Song</source>
        <translation>Song</translation>
    </message>
    <message id="CATEGORY_Demo">
        <source>Demo</source>
        <translation>Demo</translation>
    </message>
    <message id="CATEGORY_Live">
        <source>Live</source>
        <translation>Live</translation>
    </message>
    <message id="CATEGORY_Remix">
        <source>Remix</source>
        <translation>Remix</translation>
    </message>
    <message id="CATEGORY_Cover">
        <source>Cover Version</source>
        <translation>Cover Version</translation>
    </message>
    <message id="CATEGORY_Acoustic">
        <source>Acoustic</source>
        <translation>Acoustic</translation>
    </message>
    <message id="CATEGORY_Interview">
        <source>Interview</source>
        <translation>Interview</translation>
    </message>
    <message id="CATEGORY_Instrumental">
        <source>Instrumental</source>
        <translation>Instrumental</translation>
    </message>
    <message id="CATEGORY_Acapella">
        <source>A Cappella</source>
        <translation>A Cappella</translation>
    </message>
    <message id="CATEGORY_AlternateVersion">
        <source>Alternate Version</source>
        <translation>Alternate Version</translation>
    </message>
    <message id="CATEGORY_WorkInProgress">
        <source>Work in Progress</source>
        <translation>Work in Progress</translation>
    </message>
    <message id="CHOOSE_SONG_BUTTON">
        <source>Choose Song</source>
        <translation>Choose Song</translation>
    </message>
    <message id="COMPOSE_CANCEL_BUTTON">
        <source>Cancel</source>
        <translation>Cancel</translation>
    </message>
    <message id="COMPOSE_POST_BUTTON">
        <source>Post</source>
        <translation>Post</translation>
    </message>
    <message id="COMPOSE_TITLE">
        <source>New Post</source>
        <translation>New Post</translation>
    </message>
    <message id="CONTENT_ITEM_SUBTITLE_%@_%@">
        <source>%@ — %@</source>
        <translation>%@ — %@</translation>
    </message>
    <message id="DEFAULT_TITLE_AUDIO">
        <source>Audio</source>
        <translation>Audio</translation>
    </message>
    <message id="DEFAULT_TITLE_COVER_IMAGE">
        <source>Cover Image</source>
        <translation>Cover Image</translation>
    </message>
    <message id="DEFAULT_TITLE_IMAGE">
        <source>Photo</source>
        <translation>Photo</translation>
    </message>
    <message id="DEFAULT_TITLE_SOUND_BITE">
        <source>Sound Bite</source>
        <translation>Sound Bite</translation>
    </message>
    <message id="DEFAULT_TITLE_VIDEO">
        <source>Video</source>
        <translation>Video</translation>
    </message>
    <message id="EXTERNAL_SERVICE_ADD_ACCOUNT">
        <source>Add Account</source>
        <translation>Add Account</translation>
    </message>
    <message id="EXTERNAL_SERVICE_DESTINATION_PAGE_DEFAULT">
        <source>Timeline</source>
        <translation>Timeline</translation>
    </message>
    <message id="EXTERNAL_SERVICE_DESTINATION_PAGE_LABEL">
        <source>Post To</source>
        <translation>Post To</translation>
    </message>
    <message id="EXTERNAL_SERVICE_FACEBOOK">
        <source>Facebook</source>
        <translation>Facebook</translation>
    </message>
    <message id="EXTERNAL_SERVICE_NEEDS_SETUP">
        <source>Share to Facebook and Twitter</source>
        <translation>Share to Facebook and Twitter</translation>
    </message>
    <message id="EXTERNAL_SERVICE_NEEDS_SETUP_FACEBOOK_ONLY">
        <source>Share to Facebook</source>
        <translation>Share to Facebook</translation>
    </message>
    <message id="EXTERNAL_SERVICE_NEEDS_SETUP_TWITTER_ONLY">
        <source>Share to Twitter</source>
        <translation>Share to Twitter</translation>
    </message>
    <message id="EXTERNAL_SERVICE_SETTINGS_TITLE">
        <source>Sharing</source>
        <translation>Sharing</translation>
    </message>
    <message id="EXTERNAL_SERVICE_TWITTER">
        <source>Twitter</source>
        <translation>Twitter</translation>
    </message>
    <message id="EXTERNAL_SERVICE_TWITTER_AND_FACEBOOK">
        <source>Twitter and Facebook</source>
        <translation>Twitter and Facebook</translation>
    </message>
    <message id="FACEBOOK_PAGE_SELECTION_CANCEL_BUTTON">
        <source>Cancel</source>
        <translation>Cancel</translation>
    </message>
    <message id="FACEBOOK_PAGE_SELECTION_DONE_BUTTON">
        <source>Done</source>
        <translation>Done</translation>
    </message>
    <message id="FACEBOOK_PAGE_SELECTION_EXPLANATION_%@">
        <source>Choose where posts from %@ appear on Facebook: on the profile's timeline or on one of the pages it manages.</source>
        <translation>Choose where posts from %@ appear on Facebook: on the profile's timeline or on one of the pages it manages.</translation>
    </message>
    <message id="FACEBOOK_PAGE_SELECTION_PAGE_SECTION_TITLE">
        <source>Pages</source>
        <translation>Pages</translation>
    </message>
    <message id="FACEBOOK_PAGE_SELECTION_PROFILE_SECTION_TITLE">
        <source>Profile</source>
        <translation>Profile</translation>
    </message>
    <message id="FACEBOOK_PAGE_SELECTION_TITLE">
        <source>Post To</source>
        <translation>Post To</translation>
    </message>
    <message id="NO">
        <source>No</source>
        <translation>No</translation>
    </message>
    <message id="PAUSE_SOUND_BITE_BUTTON">
        <source>Pause Sound Bite</source>
        <translation>Pause Sound Bite</translation>
    </message>
    <message id="PHOTO_PICKER_ALBUM_LABEL">
        <source>Album</source>
        <translation>Album</translation>
    </message>
    <message id="PHOTO_PICKER_ALL_PHOTOS">
        <source>All Photos and Videos</source>
        <translation>All Photos and Videos</translation>
    </message>
    <message id="PHOTO_PICKER_ATTACH_BUTTON">
        <source>Attach</source>
        <translation>Attach</translation>
    </message>
    <message id="PHOTO_PICKER_CHOOSE_FILES_BUTTON">
        <source>Choose Files…</source>
        <translation>Choose Files…</translation>
    </message>
    <message id="PHOTO_PICKER_EMPTY">
        <source>There are no photos or videos here yet.</source>
        <translation>There are no photos or videos here yet.</translation>
    </message>
    <message id="PHOTO_PICKER_FILE_DIALOG_FILTER">
        <source>Photos and Videos</source>
        <translation>Photos and Videos</translation>
    </message>
    <message id="PHOTO_PICKER_FILE_DIALOG_TITLE">
        <source>Choose Photos or Videos</source>
        <translation>Choose Photos or Videos</translation>
    </message>
    <message id="PHOTO_PICKER_LIBRARY_UNAVAILABLE_%@">
        <source>The pictures folder “%@” does not exist or cannot be read.</source>
        <translation>The pictures folder “%@” does not exist or cannot be read.</translation>
    </message>
    <message id="PHOTO_PICKER_SHELF_NAME">
        <source>Recent photos and videos</source>
        <translation>Recent photos and videos</translation>
    </message>
    <message id="PHOTO_PICKER_TITLE">
        <source>Photos and Videos</source>
        <translation>Photos and Videos</translation>
    </message>
    <message id="PHOTO_PICKER_VIDEO_BADGE">
        <source>Video</source>
        <translation>Video</translation>
    </message>
    <message id="PLAY_SOUND_BITE_BUTTON">
        <source>Play Sound Bite</source>
        <translation>Play Sound Bite</translation>
    </message>
    <message id="POST_AS_LABEL">
        <source>Post as</source>
        <translation>Post as</translation>
    </message>
    <message id="RECORDING_COUNT_DOWN_FORMAT_%@">
        <source>%@ s left</source>
        <translation>%@ s left</translation>
    </message>
    <message id="RECORDING_DURATION_FORMAT_%@_%@">
        <source>%@:%@</source>
        <translation>%@:%@</translation>
    </message>
    <message id="RECORD_AUDIO_BUTTON">
        <source>Record Sound Bite</source>
        <translation>Record Sound Bite</translation>
    </message>
    <message id="RECORD_SOUND_BITE_EXPLICIT">
        <source>Explicit</source>
        <translation>Explicit</translation>
    </message>
    <message id="RECORD_SOUND_BITE_FAILED_%@">
        <source>Could not record: %@</source>
        <translation>Could not record: %@</translation>
    </message>
    <message id="RECORD_SOUND_BITE_HOW_TO">
        <source>Press and hold to record. With the keyboard, press Space to start and Space again to stop.</source>
        <translation>Press and hold to record. With the keyboard, press Space to start and Space again to stop.</translation>
    </message>
    <message id="RECORD_SOUND_BITE_NO_MICROPHONE">
        <source>No microphone is connected.</source>
        <translation>No microphone is connected.</translation>
    </message>
    <message id="RECORD_SOUND_BITE_PROMPT">
        <source>Press and hold to record</source>
        <translation>Press and hold to record</translation>
    </message>
    <message id="RECORD_SOUND_BITE_RETRY_PROMPT">
        <source>Too short. Hold a little longer to record.</source>
        <translation>Too short. Hold a little longer to record.</translation>
    </message>
    <message id="STOP_RECORDING_BUTTON">
        <source>Stop Recording</source>
        <translation>Stop Recording</translation>
    </message>
    <message id="TAKE_PHOTO_BUTTON">
        <source>Take Photo</source>
        <translation>Take Photo</translation>
    </message>
    <message id="TAKE_PHOTO_OR_VIDEO_BUTTON">
        <source>Take Photo or Video</source>
        <translation>Take Photo or Video</translation>
    </message>
    <message id="UPLOAD_PHOTO_OR_VIDEO_BUTTON">
        <source>Choose Photo or Video</source>
        <translation>Choose Photo or Video</translation>
    </message>
    <message id="VIDEO_WORKFLOW_ATTACH_TO_ALBUM_PROMPT">
        <source>Choose the album this video belongs to.</source>
        <translation>Choose the album this video belongs to.</translation>
    </message>
    <message id="VIDEO_WORKFLOW_COVER_IMAGE_PROMPT">
        <source>Cover Image</source>
        <translation>Cover Image</translation>
    </message>
    <message id="VIDEO_WORKFLOW_COVER_IMAGE_UNAVAILABLE">
        <source>This video cannot be shown, so no cover frame can be chosen. Its other details can still be edited.</source>
        <translation>This video cannot be shown, so no cover frame can be chosen. Its other details can still be edited.</translation>
    </message>
    <message id="VIDEO_WORKFLOW_DETAIL_SCRUB_EXPLANATION">
        <source>Slide your finger down while scrubbing to adjust the speed.</source>
        <translation>Slide your finger down while scrubbing to adjust the speed.</translation>
    </message>
    <message id="VIDEO_WORKFLOW_DETAIL_SCRUB_FINE">
        <source>Fine Scrubbing</source>
        <translation>Fine Scrubbing</translation>
    </message>
    <message id="VIDEO_WORKFLOW_DETAIL_SCRUB_HALF_SPEED">
        <source>Half-Speed Scrubbing</source>
        <translation>Half-Speed Scrubbing</translation>
    </message>
    <message id="VIDEO_WORKFLOW_DETAIL_SCRUB_QUARTER_SPEED">
        <source>Quarter-Speed Scrubbing</source>
        <translation>Quarter-Speed Scrubbing</translation>
    </message>
    <message id="VIDEO_WORKFLOW_TITLE">
        <source>Video Details</source>
        <translation>Video Details</translation>
    </message>
    <message id="YES">
        <source>Yes</source>
        <translation>Yes</translation>
    </message>
    <message id="ACCOUNT_MANAGE_DELETE_CONFIRMATION_MESSAGE_FACEBOOK_">
        <source>Deleting this Facebook account removes it from this computer. Your posts will no longer be shared to Facebook.</source>
        <translation>Deleting this Facebook account removes it from this computer. Your posts will no longer be shared to Facebook.</translation>
    </message>
    <message id="ACCOUNT_MANAGE_DELETE_CONFIRMATION_MESSAGE_TWITTER_">
        <source>Deleting this Twitter account removes it and its password from this computer. Your posts will no longer be shared to Twitter.</source>
        <translation>Deleting this Twitter account removes it and its password from this computer. Your posts will no longer be shared to Twitter.</translation>
    </message>
    <message id="ACCOUNT_MANAGE_DELETE_ERROR_TITLE">
        <source>Couldn't Delete Account</source>
        <translation>Couldn't Delete Account</translation>
    </message>
    <message id="ACCOUNT_MANAGE_UNLINK_ERROR_TITLE">
        <source>Couldn't Unlink Account</source>
        <translation>Couldn't Unlink Account</translation>
    </message>
    <message id="ACCOUNT_SETTINGS_ERROR_BODY_NOT_STORED">
        <source>This computer could not store the change. Your accounts are as they were; try again.</source>
        <translation>This computer could not store the change. Your accounts are as they were; try again.</translation>
    </message>
    <message id="ACCOUNT_SETUP_ERROR_TITLE_NOT_SAVED">
        <source>Couldn't Save Account</source>
        <translation>Couldn't Save Account</translation>
    </message>
    <message id="FACEBOOK_PAGE_SELECTION_ERROR_TITLE">
        <source>Couldn't Change Where Posts Go</source>
        <translation>Couldn't Change Where Posts Go</translation>
    </message>
    <message id="STORE_REQUEST_ERROR_BODY_NO_ANSWER">
        <source>The store did not answer. Nothing was changed; try again later.</source>
        <translation>The store did not answer. Nothing was changed; try again later.</translation>
    </message>
    <message id="STORE_REQUEST_ERROR_BODY_REFUSED">
        <source>The store refused the change. Nothing was changed; try again later.</source>
        <translation>The store refused the change. Nothing was changed; try again later.</translation>
    </message>
    <message id="ADD_ATTACHMENT_BUTTON">
        <source>Add Attachment</source>
        <translation>Add Attachment</translation>
    </message>
    <message id="ATTACHMENT_AUDIO_%@_%@">
        <source>Song %@ of %@</source>
        <translation>Song %@ of %@</translation>
    </message>
    <message id="ATTACHMENT_PHOTO_%@_%@">
        <source>Photo %@ of %@</source>
        <translation>Photo %@ of %@</translation>
    </message>
    <message id="ATTACHMENT_VIDEO_%@_%@">
        <source>Video %@ of %@</source>
        <translation>Video %@ of %@</translation>
    </message>
    <message id="CHARACTERS_REMAINING_%@">
        <source>%@ characters left</source>
        <translation>%@ characters left</translation>
    </message>
    <message id="COMPOSE_TEXT_ACCESSIBLE_NAME">
        <source>Post text</source>
        <translation>Post text</translation>
    </message>
    <message id="REMOVE_ATTACHMENT_AUDIO_%@_%@">
        <source>Remove song %@ of %@</source>
        <translation>Remove song %@ of %@</translation>
    </message>
    <message id="REMOVE_ATTACHMENT_PHOTO_%@_%@">
        <source>Remove photo %@ of %@</source>
        <translation>Remove photo %@ of %@</translation>
    </message>
    <message id="REMOVE_ATTACHMENT_VIDEO_%@_%@">
        <source>Remove video %@ of %@</source>
        <translation>Remove video %@ of %@</translation>
    </message>
    <message id="TAG_LIST_ACCESSIBLE_NAME">
        <source>Tag suggestions</source>
        <translation>Tag suggestions</translation>
    </message>
    <message id="COMPOSE_DRAFT_ALERT_TITLE">
        <source>Keep This Post as a Draft?</source>
        <translation>Keep This Post as a Draft?</translation>
    </message>
    <message id="COMPOSE_DRAFT_ALERT_MESSAGE">
        <source>The text and attachments come back the next time you write a post here.</source>
        <translation>The text and attachments come back the next time you write a post here.</translation>
    </message>
    <message id="COMPOSE_DRAFT_KEEP_BUTTON">
        <source>Keep Draft</source>
        <translation>Keep Draft</translation>
    </message>
    <message id="COMPOSE_DRAFT_DISCARD_BUTTON">
        <source>Discard Draft</source>
        <translation>Discard Draft</translation>
    </message>
    <message id="COMPOSE_DRAFT_CONTINUE_BUTTON">
        <source>Continue Writing</source>
        <translation>Continue Writing</translation>
    </message>
    <message id="UPLOAD_STATUS_NOT_PREPARED">
        <source>The post could not be prepared.</source>
        <translation>The post could not be prepared.</translation>
    </message>
    <message id="UPLOAD_STATUS_STOPPED_WHILE_PREPARING">
        <source>The application had to stop before the post was ready. It is kept as a draft.</source>
        <translation>The application had to stop before the post was ready. It is kept as a draft.</translation>
    </message>
</context>
</TS>
