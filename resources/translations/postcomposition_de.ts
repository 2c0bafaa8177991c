<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="de_DE">
<context>
    <name>PostComposition</name>
    <message id="ACCOUNT_MANAGE_CANCEL_BUTTON">
        <source>Cancel</source>
        <translation>Abbrechen</translation>
    </message>
    <message id="ACCOUNT_MANAGE_DELETE_ACCOUNT_BUTTON">
        <source>Delete Account</source>
        <translation>Account löschen</translation>
    </message>
    <message id="ACCOUNT_MANAGE_DELETE_CONFIRMATION_BUTTON_CANCEL">
        <source>Cancel</source>
        <translation>Abbrechen</translation>
    </message>
    <message id="ACCOUNT_MANAGE_DELETE_CONFIRMATION_BUTTON_DELETE">
        <source>Delete</source>
        <translation>Löschen</translation>
    </message>
    <message id="ACCOUNT_MANAGE_DELETE_CONFIRMATION_MESSAGE_%@_%@">
        <source>Deleting this account removes it and its password from this device.</source>
        <translation>Wenn du diesen Account löschst, werden er und sein Passwort von diesem Gerät entfernt.</translation>
    </message>
    <message id="ACCOUNT_MANAGE_DELETE_CONFIRMATION_MESSAGE_FACEBOOK_HANDSET">
        <source>Deleting this Facebook account removes it from this phone. Your posts will no longer be shared to Facebook.</source>
        <translation>Wenn du diesen Facebook-Account löschst, wird er von diesem Telefon entfernt. Deine Beiträge werden dann nicht mehr auf Facebook geteilt.</translation>
    </message>
    <message id="ACCOUNT_MANAGE_DELETE_CONFIRMATION_MESSAGE_FACEBOOK_PLAYER">
        <source>Deleting this Facebook account removes it from this player. Your posts will no longer be shared to Facebook.</source>
        <translation>Wenn du diesen Facebook-Account löschst, wird er von diesem Player entfernt. Deine Beiträge werden dann nicht mehr auf Facebook geteilt.</translation>
    </message>
    <message id="ACCOUNT_MANAGE_DELETE_CONFIRMATION_MESSAGE_FACEBOOK_TABLET">
        <source>Deleting this Facebook account removes it from this tablet. Your posts will no longer be shared to Facebook.</source>
        <translation>Wenn du diesen Facebook-Account löschst, wird er von diesem Tablet entfernt. Deine Beiträge werden dann nicht mehr auf Facebook geteilt.</translation>
    </message>
    <message id="ACCOUNT_MANAGE_DELETE_CONFIRMATION_MESSAGE_TWITTER_HANDSET">
        <source>Deleting this Twitter account removes it and its password from this phone. Your posts will no longer be shared to Twitter.</source>
        <translation>Wenn du diesen Twitter-Account löschst, werden er und sein Passwort von diesem Telefon entfernt. Deine Beiträge werden dann nicht mehr auf Twitter geteilt.</translation>
    </message>
    <message id="ACCOUNT_MANAGE_DELETE_CONFIRMATION_MESSAGE_TWITTER_PLAYER">
        <source>Deleting this Twitter account removes it and its password from this player. Your posts will no longer be shared to Twitter.</source>
        <translation>Wenn du diesen Twitter-Account löschst, werden er und sein Passwort von diesem Player entfernt. Deine Beiträge werden dann nicht mehr auf Twitter geteilt.</translation>
    </message>
    <message id="ACCOUNT_MANAGE_DELETE_CONFIRMATION_MESSAGE_TWITTER_TABLET">
        <source>Deleting this Twitter account removes it and its password from this tablet. Your posts will no longer be shared to Twitter.</source>
        <translation>Wenn du diesen Twitter-Account löschst, werden er und sein Passwort von diesem Tablet entfernt. Deine Beiträge werden dann nicht mehr auf Twitter geteilt.</translation>
    </message>
    <message id="ACCOUNT_MANAGE_DELETE_CONFIRMATION_TITLE">
        <source>Delete Account?</source>
        <translation>Account löschen?</translation>
    </message>
    <message id="ACCOUNT_MANAGE_DONE_BUTTON">
        <source>Done</source>
        <translation>Fertig</translation>
    </message>
    <message id="ACCOUNT_MANAGE_UNLINK_ACCOUNT_BUTTON">
        <source>Unlink Account</source>
        <translation>Verknüpfung aufheben</translation>
    </message>
    <message id="ACCOUNT_MANAGE_UNLINK_CONFIRMATION_BUTTON_CANCEL">
        <source>Cancel</source>
        <translation>Abbrechen</translation>
    </message>
    <message id="ACCOUNT_MANAGE_UNLINK_CONFIRMATION_BUTTON_UNLINK">
        <source>Unlink</source>
        <translation>Aufheben</translation>
    </message>
    <message id="ACCOUNT_MANAGE_UNLINK_CONFIRMATION_MESSAGE_FACEBOOK">
        <source>Posts by %@ will no longer be shared to Facebook. You can link the account again at any time.</source>
        <translation>Beiträge von %@ werden dann nicht mehr auf Facebook geteilt. Du kannst den Account jederzeit wieder verknüpfen.</translation>
    </message>
    <message id="ACCOUNT_MANAGE_UNLINK_CONFIRMATION_TITLE">
        <source>Unlink Account?</source>
        <translation>Verknüpfung aufheben?</translation>
    </message>
    <message id="ACCOUNT_SETUP_ERROR_BODY_BAD_CREDENTIALS">
        <source>The user name or password is incorrect.</source>
        <translation>Benutzername oder Passwort ist falsch.</translation>
    </message>
    <message id="ACCOUNT_SETUP_ERROR_BODY_NO_INTERNET">
        <source>You're not connected to the internet. Check your connection and try again.</source>
        <translation>Du bist nicht mit dem Internet verbunden. Überprüfe deine Verbindung und versuche es erneut.</translation>
    </message>
    <message id="ACCOUNT_SETUP_ERROR_BODY_TWITTER_2FA">
        <source>Twitter wants to verify this sign-in. Generate a temporary password in Twitter's security settings and use it here.</source>
        <translation>Twitter möchte diese Anmeldung bestätigen. Erstelle in den Sicherheitseinstellungen von Twitter ein temporäres Passwort und verwende es hier.</translation>
    </message>
    <message id="ACCOUNT_SETUP_ERROR_BUTTON_OK">
        <source>OK</source>
        <translation>OK</translation>
    </message>
    <message id="ACCOUNT_SETUP_ERROR_TITLE_GENERIC">
        <source>Couldn't Sign In</source>
        <translation>Anmeldung fehlgeschlagen</translation>
    </message>
    <message id="ACCOUNT_SETUP_ERROR_TITLE_NEEDS_APPROVAL">
        <source>Approval Needed</source>
        <translation>Bestätigung erforderlich</translation>
    </message>
    <message id="ACCOUNT_SETUP_FACEBOOK_OPEN_SETTINGS_BUTTON_OK">
        <source>OK</source>
        <translation>OK</translation>
    </message>
    <message id="ACCOUNT_SETUP_FACEBOOK_OPEN_SETTINGS_BUTTON_SETTINGS">
        <source>Settings</source>
        <translation>Einstellungen</translation>
    </message>
    <message id="ACCOUNT_SETUP_PASSWORD_LABEL">
        <source>Password</source>
        <translation>Passwort</translation>
    </message>
    <message id="ACCOUNT_SETUP_REQUIRED_PLACEHOLDER">
        <source>Required</source>
        <translation>Erforderlich</translation>
    </message>
    <message id="ACCOUNT_SETUP_SIGN_IN_BUTTON">
        <source>Sign In</source>
        <translation>Anmelden</translation>
    </message>
    <message id="ACCOUNT_SETUP_USER_NAME_FACEBOOK_PLACEHOLDER">
        <source>email@example.com</source>
        <translation>email@beispiel.de</translation>
    </message>
    <message id="ACCOUNT_SETUP_USER_NAME_LABEL">
        <source>User Name</source>
        <translation>Benutzername</translation>
    </message>
    <message id="ACCOUNT_SETUP_USER_NAME_TWITTER_PLACEHOLDER">
        <source>@username</source>
        <translation>@benutzername</translation>
    </message>
    <message id="ALSO_SHARING_TO">
        <source>Also sharing to</source>
        <translation>Auch teilen auf</translation>
    </message>
    <message id="ATTACHMENT_CANCEL_BUTTON">
        <source>Cancel</source>
        <translation>Abbrechen</translation>
    </message>
    <message id="ATTACHMENT_LIMIT_REACHED_%@_%@">
        <source>A post can have %@ attachments; %@ more were not added.</source>
        <translation>Ein Beitrag kann %@ Anhänge haben; %@ weitere wurden nicht hinzugefügt.</translation>
    </message>
    <message id="ATTACHMENT_UNREADABLE_FILE_%@">
        <source>“%@” cannot be read.</source>
        <translation>„%@“ kann nicht gelesen werden.</translation>
    </message>
    <message id="ATTACHMENT_UNSUPPORTED_FILE_%@">
        <source>“%@” is not a photo, video or song, so it cannot be attached.</source>
        <translation>„%@“ ist kein Foto, Video oder Song und kann nicht angehängt werden.</translation>
    </message>
    <message id="ATTACHMENT_WORKFLOW_ARTIST_LABEL">
        <source>Artist</source>
        <translation>Künstler</translation>
    </message>
    <message id="ATTACHMENT_WORKFLOW_ARTIST_PLACEHOLDER">
        <source>Add artists</source>
        <translation>Künstler hinzufügen</translation>
    </message>
    <message id="ATTACHMENT_WORKFLOW_DONE_BUTTON">
        <source>Done</source>
        <translation>Fertig</translation>
    </message>
    <message id="ATTACHMENT_WORKFLOW_EXPLICIT_LABEL">
        <source>Explicit</source>
        <translation>Explizit</translation>
    </message>
    <message id="ATTACHMENT_WORKFLOW_TITLE_LABEL">
        <source>Title</source>
        <translation>Titel</translation>
    </message>
    <message id="ATTACHMENT_WORKFLOW_TITLE_PLACEHOLDER">
        <source>Untitled</source>
        <translation>Ohne Titel</translation>
    </message>
    <message id="ATTACH_AUDIO_BUTTON">
        <source>Upload Audio</source>
        <translation>Audio hochladen</translation>
    </message>
    <message id="ATTACH_PHOTOS_BUTTON_%@">
        <source>Attach %@ Photos</source>
        <translation>%@ Fotos anhängen</translation>
    </message>
    <message id="ATTACH_PHOTO_BUTTON">
        <source>Attach Photo</source>
        <translation>Foto anhängen</translation>
    </message>
    <message id="ATTRIBUTION_LABEL">
        <source>Attribution</source>
        <translation>Nennung</translation>
    </message>
    <message id="ATTRIBUTION_PERSON_%@_FROM_GROUP_%@">
        <source>%@ from %@</source>
        <translation>%@ von %@</translation>
    </message>
    <message id="ATTRIBUTION_POST_AS">
        <source>Post As</source>
        <translation>Posten als</translation>
    </message>
    <message id="AUDIO_PICKER_ATTACH_BUTTON">
        <source>Attach</source>
        <translation>Anhängen</translation>
    </message>
    <message id="AUDIO_PICKER_EMPTY_MESSAGE">
        <source>There are no songs or voice memos in your music folder yet.</source>
        <translation>In deinem Musikordner gibt es noch keine Songs oder Sprachmemos.</translation>
    </message>
    <message id="ATTACHMENT_NOT_ADDED_OK_BUTTON">
        <source>OK</source>
        <translation>OK</translation>
    </message>
    <message id="ATTACHMENT_NOT_ADDED_TITLE">
        <source>Not Added</source>
        <translation>Nicht hinzugefügt</translation>
    </message>
    <message id="AUDIO_PICKER_EMPTY_OK_BUTTON">
        <source>OK</source>
        <translation>OK</translation>
    </message>
    <message id="AUDIO_PICKER_EMPTY_TITLE">
        <source>No Songs</source>
        <translation>Keine Songs</translation>
    </message>
    <message id="AUDIO_PICKER_LOADING">
        <source>Loading…</source>
        <translation>Wird geladen …</translation>
    </message>
    <message id="AUDIO_PICKER_NO_RESULTS_%@">
        <source>No songs or voice memos match “%@”.</source>
        <translation>Keine Songs oder Sprachmemos passen zu „%@“.</translation>
    </message>
    <message id="AUDIO_PICKER_SEARCH_PLACEHOLDER">
        <source>Search titles, artists and albums</source>
        <translation>Titel, Interpreten und Alben durchsuchen</translation>
    </message>
    <message id="AUDIO_PICKER_SONGS">
        <source>Songs</source>
        <translation>Songs</translation>
    </message>
    <message id="AUDIO_PICKER_TITLE">
        <source>Songs and Voice Memos</source>
        <translation>Songs und Sprachmemos</translation>
    </message>
    <message id="AUDIO_PICKER_VOICE_MEMOS">
        <source>Voice Memos</source>
        <translation>Sprachmemos</translation>
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
        <translation>Keins</translation>
    </message>
    <message id="AUDIO_WORKFLOW_ATTACH_TO_ALBUM_PROMPT">
        <source>Choose the album this audio belongs to.</source>
        <translation>Wähle das Album, zu dem diese Aufnahme gehört.</translation>
    </message>
    <message id="AUDIO_WORKFLOW_COVER_ART_CANCEL_BUTTON">
        <source>Cancel</source>
        <translation>Abbrechen</translation>
    </message>
    <message id="AUDIO_WORKFLOW_COVER_ART_EDIT_BUTTON">
        <source>Choose Cover Art…</source>
        <translation>Cover auswählen …</translation>
    </message>
    <message id="AUDIO_WORKFLOW_COVER_ART_PROMPT">
        <source>Cover Art</source>
        <translation>Cover</translation>
    </message>
    <message id="AUDIO_WORKFLOW_COVER_ART_REMOVE_BUTTON">
        <source>Remove Cover Art</source>
        <translation>Cover entfernen</translation>
    </message>
    <message id="AUDIO_WORKFLOW_SONG_TYPE_LABEL">
        <source>Song Type</source>
        <translation>Titelart</translation>
    </message>
    <message id="AUDIO_WORKFLOW_TITLE">
        <source>Audio Details</source>
        <translation>Audiodetails</translation>
    </message>
    <message id="AUTHOR_CANCEL_BUTTON">
        <source>Cancel</source>
        <translation>Abbrechen</translation>
    </message>
    <message id="AUTHOR_SELECTION_TITLE">
        <source>Post As</source>
        <translation>Posten als</translation>
    </message>
    <message id="BACK_BUTTON_TITLE">
        <source>Back</source>
        <translation>Zurück</translation>
    </message>
    <message id="CAMERA_RECORD_BUTTON">
        <source>Record Video</source>
        <translation>Video aufnehmen</translation>
    </message>
    <message id="CAMERA_STOP_BUTTON">
        <source>Stop</source>
        <translation>Stopp</translation>
    </message>
    <message id="CAMERA_TAKE_PHOTO_BUTTON">
        <source>Take Photo</source>
        <translation>Foto aufnehmen</translation>
    </message>
    <message id="CAMERA_TITLE">
        <source>Camera</source>
        <translation>Kamera</translation>
    </message>
    <message id="CAMERA_UNAVAILABLE">
        <source>No camera is connected.</source>
        <translation>Es ist keine Kamera angeschlossen.</translation>
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
        <translation>Coverversion</translation>
    </message>
    <message id="CATEGORY_Acoustic">
        <source>Acoustic</source>
        <translation>Akustisch</translation>
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
        <translation>A cappella</translation>
    </message>
    <message id="CATEGORY_AlternateVersion">
        <source>Alternate Version</source>
        <translation>Alternative Version</translation>
    </message>
    <message id="CATEGORY_WorkInProgress">
        <source>Work in Progress</source>
        <translation>Unfertige Version</translation>
    </message>
    <message id="CHOOSE_SONG_BUTTON">
        <source>Choose Song</source>
        <translation>Song auswählen</translation>
    </message>
    <message id="COMPOSE_CANCEL_BUTTON">
        <source>Cancel</source>
        <translation>Abbrechen</translation>
    </message>
    <message id="COMPOSE_POST_BUTTON">
        <source>Post</source>
        <translation>Posten</translation>
    </message>
    <message id="COMPOSE_TITLE">
        <source>New Post</source>
        <translation>Neuer Beitrag</translation>
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
        <translation>Titelbild</translation>
    </message>
    <message id="DEFAULT_TITLE_IMAGE">
        <source>Photo</source>
        <translation>Foto</translation>
    </message>
    <message id="DEFAULT_TITLE_SOUND_BITE">
        <source>Sound Bite</source>
        <translation>Soundbite</translation>
    </message>
    <message id="DEFAULT_TITLE_VIDEO">
        <source>Video</source>
        <translation>Video</translation>
    </message>
    <message id="EXTERNAL_SERVICE_ADD_ACCOUNT">
        <source>Add Account</source>
        <translation>Account hinzufügen</translation>
    </message>
    <message id="EXTERNAL_SERVICE_DESTINATION_PAGE_DEFAULT">
        <source>Timeline</source>
        <translation>Chronik</translation>
    </message>
    <message id="EXTERNAL_SERVICE_DESTINATION_PAGE_LABEL">
        <source>Post To</source>
        <translation>Posten auf</translation>
    </message>
    <message id="EXTERNAL_SERVICE_FACEBOOK">
        <source>Facebook</source>
        <translation>Facebook</translation>
    </message>
    <message id="EXTERNAL_SERVICE_NEEDS_SETUP">
        <source>Share to Facebook and Twitter</source>
        <translation>Auf Facebook und Twitter teilen</translation>
    </message>
    <message id="EXTERNAL_SERVICE_NEEDS_SETUP_FACEBOOK_ONLY">
        <source>Share to Facebook</source>
        <translation>Auf Facebook teilen</translation>
    </message>
    <message id="EXTERNAL_SERVICE_NEEDS_SETUP_TWITTER_ONLY">
        <source>Share to Twitter</source>
        <translation>Auf Twitter teilen</translation>
    </message>
    <message id="EXTERNAL_SERVICE_SETTINGS_TITLE">
        <source>Sharing</source>
        <translation>Teilen</translation>
    </message>
    <message id="EXTERNAL_SERVICE_TWITTER">
        <source>Twitter</source>
        <translation>Twitter</translation>
    </message>
    <message id="EXTERNAL_SERVICE_TWITTER_AND_FACEBOOK">
        <source>Twitter and Facebook</source>
        <translation>Twitter und Facebook</translation>
    </message>
    <message id="FACEBOOK_PAGE_SELECTION_CANCEL_BUTTON">
        <source>Cancel</source>
        <translation>Abbrechen</translation>
    </message>
    <message id="FACEBOOK_PAGE_SELECTION_DONE_BUTTON">
        <source>Done</source>
        <translation>Fertig</translation>
    </message>
    <message id="FACEBOOK_PAGE_SELECTION_EXPLANATION_%@">
        <source>Choose where posts from %@ appear on Facebook: on the profile's timeline or on one of the pages it manages.</source>
        <translation>Wähle, wo Beiträge von %@ auf Facebook erscheinen: in der Chronik des Profils oder auf einer der Seiten, die es verwaltet.</translation>
    </message>
    <message id="FACEBOOK_PAGE_SELECTION_PAGE_SECTION_TITLE">
        <source>Pages</source>
        <translation>Seiten</translation>
    </message>
    <message id="FACEBOOK_PAGE_SELECTION_PROFILE_SECTION_TITLE">
        <source>Profile</source>
        <translation>Profil</translation>
    </message>
    <message id="FACEBOOK_PAGE_SELECTION_TITLE">
        <source>Post To</source>
        <translation>Posten auf</translation>
    </message>
    <message id="NO">
        <source>No</source>
        <translation>Nein</translation>
    </message>
    <message id="PAUSE_SOUND_BITE_BUTTON">
        <source>Pause Sound Bite</source>
        <translation>Soundbite anhalten</translation>
    </message>
    <message id="PHOTO_PICKER_ALBUM_LABEL">
        <source>Album</source>
        <translation>Album</translation>
    </message>
    <message id="PHOTO_PICKER_ALL_PHOTOS">
        <source>All Photos and Videos</source>
        <translation>Alle Fotos und Videos</translation>
    </message>
    <message id="PHOTO_PICKER_ATTACH_BUTTON">
        <source>Attach</source>
        <translation>Anhängen</translation>
    </message>
    <message id="PHOTO_PICKER_CHOOSE_FILES_BUTTON">
        <source>Choose Files…</source>
        <translation>Dateien auswählen…</translation>
    </message>
    <message id="PHOTO_PICKER_EMPTY">
        <source>There are no photos or videos here yet.</source>
        <translation>Hier gibt es noch keine Fotos oder Videos.</translation>
    </message>
    <message id="PHOTO_PICKER_FILE_DIALOG_FILTER">
        <source>Photos and Videos</source>
        <translation>Fotos und Videos</translation>
    </message>
    <message id="PHOTO_PICKER_FILE_DIALOG_TITLE">
        <source>Choose Photos or Videos</source>
        <translation>Fotos oder Videos auswählen</translation>
    </message>
    <message id="PHOTO_PICKER_LIBRARY_UNAVAILABLE_%@">
        <source>The pictures folder “%@” does not exist or cannot be read.</source>
        <translation>Der Bilderordner „%@“ existiert nicht oder kann nicht gelesen werden.</translation>
    </message>
    <message id="PHOTO_PICKER_SHELF_NAME">
        <source>Recent photos and videos</source>
        <translation>Neueste Fotos und Videos</translation>
    </message>
    <message id="PHOTO_PICKER_TITLE">
        <source>Photos and Videos</source>
        <translation>Fotos und Videos</translation>
    </message>
    <message id="PHOTO_PICKER_VIDEO_BADGE">
        <source>Video</source>
        <translation>Video</translation>
    </message>
    <message id="PLAY_SOUND_BITE_BUTTON">
        <source>Play Sound Bite</source>
        <translation>Soundbite abspielen</translation>
    </message>
    <message id="POST_AS_LABEL">
        <source>Post as</source>
        <translation>Posten als</translation>
    </message>
    <message id="RECORDING_COUNT_DOWN_FORMAT_%@">
        <source>%@ s left</source>
        <translation>Noch %@ s</translation>
    </message>
    <message id="RECORDING_DURATION_FORMAT_%@_%@">
        <source>%@:%@</source>
        <translation>%@:%@</translation>
    </message>
    <message id="RECORD_AUDIO_BUTTON">
        <source>Record Sound Bite</source>
        <translation>Soundbite aufnehmen</translation>
    </message>
    <message id="RECORD_SOUND_BITE_EXPLICIT">
        <source>Explicit</source>
        <translation>Explizit</translation>
    </message>
    <message id="RECORD_SOUND_BITE_FAILED_%@">
        <source>Could not record: %@</source>
        <translation>Aufnahme nicht möglich: %@</translation>
    </message>
    <message id="RECORD_SOUND_BITE_HOW_TO">
        <source>Press and hold to record. With the keyboard, press Space to start and Space again to stop.</source>
        <translation>Zum Aufnehmen gedrückt halten. Mit der Tastatur startet die Leertaste die Aufnahme, ein zweites Drücken beendet sie.</translation>
    </message>
    <message id="RECORD_SOUND_BITE_NO_MICROPHONE">
        <source>No microphone is connected.</source>
        <translation>Es ist kein Mikrofon angeschlossen.</translation>
    </message>
    <message id="RECORD_SOUND_BITE_PROMPT">
        <source>Press and hold to record</source>
        <translation>Zum Aufnehmen gedrückt halten</translation>
    </message>
    <message id="RECORD_SOUND_BITE_RETRY_PROMPT">
        <source>Too short. Hold a little longer to record.</source>
        <translation>Zu kurz. Halte etwas länger gedrückt, um aufzunehmen.</translation>
    </message>
    <message id="STOP_RECORDING_BUTTON">
        <source>Stop Recording</source>
        <translation>Aufnahme beenden</translation>
    </message>
    <message id="TAKE_PHOTO_BUTTON">
        <source>Take Photo</source>
        <translation>Foto aufnehmen</translation>
    </message>
    <message id="TAKE_PHOTO_OR_VIDEO_BUTTON">
        <source>Take Photo or Video</source>
        <translation>Foto oder Video aufnehmen</translation>
    </message>
    <message id="UPLOAD_PHOTO_OR_VIDEO_BUTTON">
        <source>Choose Photo or Video</source>
        <translation>Foto oder Video auswählen</translation>
    </message>
    <message id="VIDEO_WORKFLOW_ATTACH_TO_ALBUM_PROMPT">
        <source>Choose the album this video belongs to.</source>
        <translation>Wähle das Album, zu dem dieses Video gehört.</translation>
    </message>
    <message id="VIDEO_WORKFLOW_COVER_IMAGE_PROMPT">
        <source>Cover Image</source>
        <translation>Titelbild</translation>
    </message>
    <message id="VIDEO_WORKFLOW_COVER_IMAGE_UNAVAILABLE">
        <source>This video cannot be shown, so no cover frame can be chosen. Its other details can still be edited.</source>
        <translation>Dieses Video kann nicht angezeigt werden, daher kann kein Titelbild gewählt werden. Die übrigen Angaben lassen sich weiter bearbeiten.</translation>
    </message>
    <message id="VIDEO_WORKFLOW_DETAIL_SCRUB_EXPLANATION">
        <source>Slide your finger down while scrubbing to adjust the speed.</source>
        <translation>Zum Anpassen der Geschwindigkeit beim Spulen nach unten ziehen.</translation>
    </message>
    <message id="VIDEO_WORKFLOW_DETAIL_SCRUB_FINE">
        <source>Fine Scrubbing</source>
        <translation>Feines Spulen</translation>
    </message>
    <message id="VIDEO_WORKFLOW_DETAIL_SCRUB_HALF_SPEED">
        <source>Half-Speed Scrubbing</source>
        <translation>Spulen mit halber Geschwindigkeit</translation>
    </message>
    <message id="VIDEO_WORKFLOW_DETAIL_SCRUB_QUARTER_SPEED">
        <source>Quarter-Speed Scrubbing</source>
        <translation>Spulen mit Viertelgeschwindigkeit</translation>
    </message>
    <message id="VIDEO_WORKFLOW_TITLE">
        <source>Video Details</source>
        <translation>Videodetails</translation>
    </message>
    <message id="YES">
        <source>Yes</source>
        <translation>Ja</translation>
    </message>
    <message id="ACCOUNT_MANAGE_DELETE_CONFIRMATION_MESSAGE_FACEBOOK_">
        <source>Deleting this Facebook account removes it from this computer. Your posts will no longer be shared to Facebook.</source>
        <translation>Wenn du diesen Facebook-Account löschst, wird er von diesem Computer entfernt. Deine Beiträge werden dann nicht mehr auf Facebook geteilt.</translation>
    </message>
    <message id="ACCOUNT_MANAGE_DELETE_CONFIRMATION_MESSAGE_TWITTER_">
        <source>Deleting this Twitter account removes it and its password from this computer. Your posts will no longer be shared to Twitter.</source>
        <translation>Wenn du diesen Twitter-Account löschst, werden er und sein Passwort von diesem Computer entfernt. Deine Beiträge werden dann nicht mehr auf Twitter geteilt.</translation>
    </message>
    <message id="ACCOUNT_MANAGE_DELETE_ERROR_TITLE">
        <source>Couldn't Delete Account</source>
        <translation>Account konnte nicht gelöscht werden</translation>
    </message>
    <message id="ACCOUNT_MANAGE_UNLINK_ERROR_TITLE">
        <source>Couldn't Unlink Account</source>
        <translation>Account konnte nicht getrennt werden</translation>
    </message>
    <message id="ACCOUNT_SETTINGS_ERROR_BODY_NOT_STORED">
        <source>This computer could not store the change. Your accounts are as they were; try again.</source>
        <translation>Dieser Computer konnte die Änderung nicht speichern. Deine Accounts sind unverändert; versuche es noch einmal.</translation>
    </message>
    <message id="ACCOUNT_SETUP_ERROR_TITLE_NOT_SAVED">
        <source>Couldn't Save Account</source>
        <translation>Account konnte nicht gespeichert werden</translation>
    </message>
    <message id="FACEBOOK_PAGE_SELECTION_ERROR_TITLE">
        <source>Couldn't Change Where Posts Go</source>
        <translation>Ziel der Beiträge konnte nicht geändert werden</translation>
    </message>
    <message id="STORE_REQUEST_ERROR_BODY_NO_ANSWER">
        <source>The store did not answer. Nothing was changed; try again later.</source>
        <translation>Der Store hat nicht geantwortet. Es wurde nichts geändert; versuche es später noch einmal.</translation>
    </message>
    <message id="STORE_REQUEST_ERROR_BODY_REFUSED">
        <source>The store refused the change. Nothing was changed; try again later.</source>
        <translation>Der Store hat die Änderung abgelehnt. Es wurde nichts geändert; versuche es später noch einmal.</translation>
    </message>
    <message id="ADD_ATTACHMENT_BUTTON">
        <source>Add Attachment</source>
        <translation>Anhang hinzufügen</translation>
    </message>
    <message id="ATTACHMENT_AUDIO_%@_%@">
        <source>Song %@ of %@</source>
        <translation>Titel %@ von %@</translation>
    </message>
    <message id="ATTACHMENT_PHOTO_%@_%@">
        <source>Photo %@ of %@</source>
        <translation>Foto %@ von %@</translation>
    </message>
    <message id="ATTACHMENT_VIDEO_%@_%@">
        <source>Video %@ of %@</source>
        <translation>Video %@ von %@</translation>
    </message>
    <message id="CHARACTERS_REMAINING_%@">
        <source>%@ characters left</source>
        <translation>Noch %@ Zeichen</translation>
    </message>
    <message id="COMPOSE_TEXT_ACCESSIBLE_NAME">
        <source>Post text</source>
        <translation>Text des Beitrags</translation>
    </message>
    <message id="REMOVE_ATTACHMENT_AUDIO_%@_%@">
        <source>Remove song %@ of %@</source>
        <translation>Titel %@ von %@ entfernen</translation>
    </message>
    <message id="REMOVE_ATTACHMENT_PHOTO_%@_%@">
        <source>Remove photo %@ of %@</source>
        <translation>Foto %@ von %@ entfernen</translation>
    </message>
    <message id="REMOVE_ATTACHMENT_VIDEO_%@_%@">
        <source>Remove video %@ of %@</source>
        <translation>Video %@ von %@ entfernen</translation>
    </message>
    <message id="TAG_LIST_ACCESSIBLE_NAME">
        <source>Tag suggestions</source>
        <translation>Vorschläge für Tags</translation>
    </message>
    <message id="COMPOSE_DRAFT_ALERT_TITLE">
        <source>Keep This Post as a Draft?</source>
        <translation>Diesen Beitrag als Entwurf behalten?</translation>
    </message>
    <message id="COMPOSE_DRAFT_ALERT_MESSAGE">
        <source>The text and attachments come back the next time you write a post here.</source>
        <translation>Text und Anhänge sind wieder da, wenn Sie hier das nächste Mal einen Beitrag schreiben.</translation>
    </message>
    <message id="COMPOSE_DRAFT_KEEP_BUTTON">
        <source>Keep Draft</source>
        <translation>Entwurf behalten</translation>
    </message>
    <message id="COMPOSE_DRAFT_DISCARD_BUTTON">
        <source>Discard Draft</source>
        <translation>Entwurf verwerfen</translation>
    </message>
    <message id="COMPOSE_DRAFT_CONTINUE_BUTTON">
        <source>Continue Writing</source>
        <translation>Weiterschreiben</translation>
    </message>
    <message id="UPLOAD_STATUS_NOT_PREPARED">
        <source>The post could not be prepared.</source>
        <translation>Der Beitrag konnte nicht vorbereitet werden.</translation>
    </message>
    <message id="UPLOAD_STATUS_STOPPED_WHILE_PREPARING">
        <source>The application had to stop before the post was ready. It is kept as a draft.</source>
        <translation>Das Programm musste beendet werden, bevor der Beitrag fertig war. Er ist als Entwurf erhalten.</translation>
    </message>
</context>
</TS>
