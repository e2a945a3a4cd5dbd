#pragma once

// Keys and value names of the settings store shared with the other sync components. "CU" is
// the current user's hive, "LM" the machine's. A missing value reads as the default noted.
namespace vantor_env::reg {

// CU: the organizer.
inline constexpr char kOrganizerKey[] = "software\\norvane\\tessarin\\14.0";
inline constexpr char kCurrentCatalogPath[] = "CurrentCatalogPath";  // string, empty

// CU: the organizer's settings.
inline constexpr char kOrganizerSettingsKey[] = "software\\norvane\\tessarin\\14.0\\Organizer";
inline constexpr char kPluginImageFormatExtensions[] = "PluginImageFormatExtensions";  // string
inline constexpr char kPluginACRSupportedFormatExtensions[] =
    "PluginACRSupportedFormatExtensions";                                  // string
inline constexpr char kHalcynAgentMsgLevel[] = "HalcynAgentMsgLevel";      // int, -1, created as 0
inline constexpr char kHalcynEnabledByServer[] = "HalcynEnabledByServer";  // bool, false
inline constexpr char kForceUpdateEnabled[] = "ForceUpdateEnabled";        // bool, false
inline constexpr char kNxSyncInterval[] = "nxSyncInterval";                // int seconds, 0
inline constexpr char kKqProxyGen[] = "kqProxyGen";                        // int, 0
inline constexpr char kDelayedRetryAfterLimitExceededInterval[] =
    "delayedRetryAfterLimitExceededInterval";                                        // int, 0
inline constexpr char kHalcynAdditionalConfig[] = "HalcynAdditionalConfig";          // int, 0
inline constexpr char kKqProxyHighPresetVersion[] = "kqProxyHighPresetVersion";      // int, 0
inline constexpr char kKqProxyMediumPresetVersion[] = "kqProxyMediumPresetVersion";  // int, 0

// CU: the video editor's organizer settings.
inline constexpr char kVideoEditorOrganizerKey[] =
    "software\\norvane\\vidalune\\14.0\\Settings\\Organizer";
inline constexpr char kVideoExtensions[] = "VideoExtensions";  // string, empty
inline constexpr char kAudioExtensions[] = "AudioExtensions";  // string, empty
inline constexpr char kImageExtensions[] = "ImageExtensions";  // string, empty

// CU: the image editor's common settings.
inline constexpr char kImageEditorSettingsKey[] =
    "software\\norvane\\ombrelle\\14.0\\common\\settings";
inline constexpr char kSyncCreation[] = "SYNC_CREATION";  // bool, written only

// CU: the sync agent.
inline constexpr char kSyncKey[] = "software\\norvane\\Strand";
inline constexpr char kCurrentSyncCatalogPath[] = "CurrentSyncCatalogPath";  // version 7
inline constexpr char kOMB8SyncCatalogPath[] = "OMB8SyncCatalogPath";
inline constexpr char kOMB9SyncCatalogPath[] = "OMB9SyncCatalogPath";
inline constexpr char kOMB10SyncCatalogPath[] = "OMB10SyncCatalogPath";
inline constexpr char kUserName[] = "UserName";                    // string, empty
inline constexpr char kServerDomainName[] = "ServerDomainName";    // string, "/" added on reading
inline constexpr char kRememberMe[] = "RememberMe";                // bool, written only
inline constexpr char kDisconnectTimeout[] = "DisconnectTimeout";  // int, -1
inline constexpr char kErrorTimeout[] = "ErrorTimeout";            // long as decimal text, -1
// Values of the same key that only the other sync components read.
inline constexpr char kSyncAllowOnlyJpegs[] = "SyncAllowOnlyJpegs";
inline constexpr char kUserId[] = "UserId";
inline constexpr char kEncryptedTicketVector[] = "EncryptedTicketVector";
inline constexpr char kSyncInterval[] = "SyncInterval";
inline constexpr char kSyncLogLevel[] = "SyncLogLevel";
inline constexpr char kEnableSyncDebugMode[] = "EnableSyncDebugMode";

// LM: the image editor and the video editor.
inline constexpr char kImageEditorKey[] = "software\\norvane\\ombrelle\\14.0";
inline constexpr char kVideoEditorKey[] = "software\\norvane\\vidalune\\14.0";
inline constexpr char kDisableKSVFeatures[] = "DisableKSVFeatures";  // int: 0 image, -1 video
inline constexpr char kCountry[] = "Country";                        // string, empty

}  // namespace vantor_env::reg
