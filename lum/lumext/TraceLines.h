/* The texts of the extension's by which a container learns how a start is going: traces, and what tells a message's
 * number. They are part of the interface: a container may rely on them as they stand, so none changes without notice.
 * (How traces reach the container: docs/embedding.md.)
 *
 * Plain C macros, in the form that printf takes. A "%d" at the end of a trace is its number in decimal; a size of 2 GiB
 * or more appears as a negative number.
 */
#ifndef LUM_LUMEXT_TRACELINES_H
#define LUM_LUMEXT_TRACELINES_H

/* --- Traces, in the order of a start --- */

/* Followed by the request for this package: its address, and the announced bytes of all packages so far. */
#define LUM_TRACE_PACKAGE_ASKED "LumInstallationMgr::PrepareDownload Down file=%s, TotalSize=%d"
/* Followed by the message of this number, and by the end of the start unless the main component was ready. */
#define LUM_TRACE_SHOWS_MESSAGE "CLumExtension::ShowMessage,nResourceId=%d"
/* Followed by a request to the site's log with this code, if the page names a log. Comes after
 * LUM_TRACE_SHOWS_MESSAGE, too; 24 without that: a second meeting is refused, with an alert of the extension's own where
 * there are windows, otherwise with a message without a number, and the page is sent on to the one that runs. */
#define LUM_TRACE_REPORTS "CLumExtension::WriteErrorLog,Begin,errorcode =%d"
/* From now on a package that fails does not stop the rest. */
#define LUM_TRACE_MAIN_READY "Main component is ready to be loaded"
/* Every package is dealt with. */
#define LUM_TRACE_ALL_INSTALLED "Download is done"
/* The main application is looked for, and started unless it runs. */
#define LUM_TRACE_STARTS "Init the main component..."
/* The started application's process id. */
#define LUM_TRACE_PROCESS "CPluginView::LoadMainComponant,Process launch successfully, process id = %d"
/* 1: the launch of this application has been tried, or it runs already, and it is looked after from now on. 0: it has
 * been looked for, for the last time; what follows in this call says whether it was there. */
#define LUM_TRACE_APPLICATION_LAUNCHED "CLumExtension::SetKelvoAppLaunched,bKelvoAppLaunched=%d"
#define LUM_TRACE_PLAYER_LAUNCHED "CLumExtension::SetKelvoPlayerLaunched,bKelvoPlayerLaunched=%d"
#define LUM_TRACE_ORB_PLAYER_LAUNCHED "CLumExtension::SetOrbPlayerLaunched,bOrbPlayerLaunched=%d"
/* The application of this process id has reported that the user has joined. */
#define LUM_TRACE_JOINED "Meeting launched notification received, pid = %d"

/* --- Messages ---
 *
 * The English texts, which are also the keys of the translations. Every one with a number has it in square brackets,
 * in every language, before any other number in brackets; without the table of texts a message is its number alone. */
#define LUM_TEXT_FAILURE "Setup was unsuccessful. Please restart browser and try again.\n\n\nError [%d]\n\n"
#define LUM_TEXT_FAILURE_URL "Setup was unsuccessful. Please restart browser and try again.\n\n\nError [%d], URL [%s]\n"
#define LUM_TEXT_FAILURE_FILE                                                                                          \
    "Setup was unsuccessful. Please restart browser and try again.\n\n\nError [%d], File [%s]\n"
#define LUM_TEXT_SECOND_MEETING                                                                                        \
    "You already have one meeting in progress. You can start or join a new meeting after you leave the previous "      \
    "meeting."

/* The parameter of a log request (pfnOpenURL with a null target) that holds the event's or the message's number. */
#define LUM_LOG_CODE "ErrorCode"

#endif
