// The gateway's settings: every section and key, its type, and the texts that
// go with it.

#include <configapi/config.h>

#include <cstddef>
#include <initializer_list>
#include <string_view>

namespace {

constexpr cfgKey slot(const char* key, unsigned long type, unsigned long flag,
                      const char* default_value, const char* table_value) {
  return {key, type, flag, default_value, {}, table_value, ""};
}

constexpr cfgKey yes_no(const char* key, const char* default_value) {
  return slot(key, TYPE_BOOLEAN_YN, FLAG_SINGLE_VALUE, default_value, "");
}

constexpr cfgKey number(const char* key, const char* default_value) {
  return slot(key, TYPE_NUMBER, FLAG_SINGLE_VALUE, default_value, "");
}

constexpr cfgKey text(const char* key, const char* default_value,
                      const char* table_value = "") {
  return slot(key, TYPE_STRING, FLAG_SINGLE_VALUE, default_value, table_value);
}

constexpr cfgKey address(const char* key, const char* default_value) {
  return slot(key, TYPE_RFC822_ADDRESS, FLAG_SINGLE_VALUE, default_value, "");
}

constexpr cfgKey file_name(const char* key, const char* default_value) {
  return slot(key, TYPE_FILENAME_N, FLAG_SINGLE_VALUE, default_value, "");
}

constexpr cfgKey receipt(const char* key, const char* default_value) {
  return slot(key, TYPE_RRQ, FLAG_SINGLE_VALUE, default_value, "");
}

// One slot stays for the end of the section; a longer list does not compile.
constexpr cfgSection section(const char* name,
                             std::initializer_list<cfgKey> keys) {
  cfgSection result{name, {}};
  std::size_t next = 0;
  for (const cfgKey& key : keys) {
    result.keys[next++] = key;
  }
  result.keys[next] = slot("", 0, 0, "", "");
  return result;
}

}  // namespace

// clang-format off
constexpr cfgSection cfgTable[24] = {
    section("Config", {
        yes_no("InstallDirectory", "YES"),
        yes_no("version", "YES"),
        yes_no("HelpFile", "YES"),
        yes_no("SetupHelpFile", "YES"),
        yes_no("upSince", "YES"),
        yes_no("WinsockInfo", "YES"),
        yes_no("SMTPDmainSocket", "YES"),
        yes_no("AddressFile", "YES"),
    }),
    section("Gateway", {
        yes_no("LogDirectory", "YES"),
        yes_no("QueueDirectory", "YES"),
        yes_no("temporaryDirectory", "YES"),
        yes_no("SMTPCQueueDirectory", "YES"),
        yes_no("formsDirectory", "YES"),
        yes_no("RoutingDomainList", "YES"),
        yes_no("UserKeyFile", "YES"),
        yes_no("NotesMailDomain", "YES"),
        yes_no("GatewayAdministrator", "YES"),
        yes_no("UserKeyPassword", "YES"),
        yes_no("RoutingDomain", "YES"),
        yes_no("localCharSet", "YES"),
        yes_no("TimeZone", "YES"),
        yes_no("maxSMTPCSessions", "YES"),
        yes_no("maxSMTPDSessions", "YES"),
        yes_no("RetryPeriod", "YES"),
        yes_no("MaxRetryPeriod", "YES"),
        yes_no("LogfileSizeLimit", "YES"),
        yes_no("MaxDNSRecordNumber", "YES"),
        yes_no("LoggingLevel", "YES"),
        yes_no("GatewayMode", "YES"),
        yes_no("OldLogFile", "YES"),
        yes_no("SendMessageSize", "YES"),
        yes_no("ReceiveMessageSize", "YES"),
        yes_no("FastAdminStartup", "YES"),
        yes_no("LoopingItemsToPostmaster", "YES"),
        yes_no("SMTPC554DuringDATAisTemporary", "YES"),
        yes_no("MaxTrips", "YES"),
        yes_no("MaxSessions", "YES"),
        yes_no("MaxMesgPerSessionForSmallMessage", "YES"),
        yes_no("MaxSMTPCSessionsForSmallMessage", "YES"),
        yes_no("SMTPCQueueRunSizeForSmallMessage", "YES"),
        yes_no("MaxMesgPerSessionForNormalMessage", "YES"),
        yes_no("MaxSMTPCSessionsForNormalMessage", "YES"),
        yes_no("SMTPCQueueRunSizeForNormalMessage", "YES"),
        yes_no("MaxMesgPerSessionForLargeMessage", "YES"),
        yes_no("MaxSMTPCSessionsForLargeMessage", "YES"),
        yes_no("SMTPCQueueRunSizeForLargeMessage", "YES"),
        yes_no("SmallMessageSizeBoundary", "YES"),
        yes_no("LargeMessageSizeBoundary", "YES"),
        yes_no("SendMessageSize", "YES"),
        yes_no("ReceiveMessageSize", "YES"),
        yes_no("BSMTPDirectory", "YES"),
        yes_no("BSMTPConfigFile", "YES"),
        yes_no("ccInQueueDirectory", "YES"),
        yes_no("NotesInQueueDirectory", "YES"),
    }),
    section("Installed Components", {
        yes_no("CCIN", "YES"),
        yes_no("CCOUT", "YES"),
        yes_no("SMTPD", "YES"),
        yes_no("SMTPC", "YES"),
        yes_no("PREPROCESSOR", "YES"),
        yes_no("NOTESIN", "YES"),
        yes_no("NOTESOUT", "YES"),
        yes_no("LDAPSERV", "YES"),
        yes_no("ROUTER", "YES"),
        yes_no("DL", "YES"),
        yes_no("LOCMAIL", "YES"),
        yes_no("BSMTP", "YES"),
    }),
    section("Connection", {
        yes_no("NotesServer", "YES"),
        yes_no("GatewayHostName", "YES"),
        yes_no("GatewayDomain", "YES"),
        yes_no("HostTable", "YES"),
        yes_no("AlternateNameList", "YES"),
    }),
    section("VirusScan", {
        yes_no("ProgramType", "YES"),
        yes_no("ProgramPath", "YES"),
        yes_no("CommandLine", "YES"),
        yes_no("ClassNoError", "YES"),
        yes_no("ClassError", "YES"),
        yes_no("ClassVirusFound", "YES"),
    }),
    section("Routing", {
        yes_no("PrimaryRelayHostName", "YES"),
        yes_no("DNSaddresses", "YES"),
        yes_no("EnableSecondaryRelayHost", "YES"),
        yes_no("TimeToTrySecondaryRelayHost", "YES"),
        yes_no("TimeToReTryPrimaryRelayHost", "YES"),
        yes_no("NameResolution", "YES"),
    }),
    section("Schedules", {
        yes_no("obxStartTime", "NO"),
        yes_no("ShutdownTime", "YES"),
        yes_no("NotesInSync", "NO"),
        yes_no("NotesOutSync", "NO"),
        yes_no("AutoDialUp", "NO"),
        number("NotesInInterval", "25"),
        number("NotesOutInterval", "25"),
        text("SMTPCinterval", "base64", "base64,quoted-printable,x-uue"),
        yes_no("sysInterval", "YES"),
        text("ccInSync", "Quoted-Printable", "base64,quoted-printable"),
        text("ccOutSync", "x-uue"),
        text("SmtpcSync", "underscore", "underscore,dot"),
        receipt("AutoDialUp", "Return-receipt-to"),
        yes_no("ccInInterval", "NO"),
        yes_no("ccOutInterval", "NO"),
        yes_no("EnableETRNCmd", "NO"),
    }),
    section("Options", {
        yes_no("ConcatenateTextItem", "NO"),
        yes_no("IncludeRoutingDomain", "YES"),
        yes_no("IncludeRfc822Header", "NO"),
        yes_no("IncludeMimeHeader", "NO"),
        yes_no("RegularScreenUpdates", "NO"),
        number("CloseSMTPD", "25"),
        number("autoRestartSMTPD", "25"),
        text("IncludeNotesName", "base64", "base64,quoted-printable,x-uue"),
        yes_no("useReplyTo", "YES"),
        text("useResentFrom", "Quoted-Printable", "base64,quoted-printable"),
        text("bounceToPostmaster", "x-uue"),
        text("BounceHeaderOnlyForOversizeMesg", "underscore", "underscore,dot"),
        receipt("useHostname", "Return-receipt-to"),
        yes_no("IncludeCertifier", "NO"),
        yes_no("DefaultSendPermission", "NO"),
        yes_no("DefaultReceivePermission", "NO"),
        yes_no("EnableRFC1522Encoding", "NO"),
        yes_no("UUencode", "NO"),
        yes_no("RFC1522CodingMethod", "YES"),
        yes_no("DefaultEncoding", "YES"),
        yes_no("separator", "YES"),
        yes_no("rrqHeader", "NO"),
        yes_no("NotesDomainInclusion", "NO"),
        yes_no("InboundAppleFileConversion", "NO"),
        yes_no("DisableJISInHeaders", "YES"),
        yes_no("ScanForJIS", "NO"),
        yes_no("RepairDamagedJIS", "YES"),
        yes_no("RepairDamagedJISInHeaders", "NO"),
        yes_no("InvalidCharacterMark", "NO"),
        yes_no("EnableReverseDNSLookup", "NO"),
        yes_no("LastLogFileName", "NO"),
        yes_no("RestrictLocalUsers", "NO"),
        yes_no("RejectUnqualifiedAddresses", "NO"),
        yes_no("RejectRemoteRecipients", "YES"),
        yes_no("WarnIfEmptyMsgSentOut", "NO"),
        address("TryReverseSeparator", "postmaster"),
        number("KillSMTPDzombie", "8"),
        file_name("SendOldLogfile", ""),
        yes_no("KeepOldLogfile", "YES"),
        yes_no("BounceSender", "NO"),
        yes_no("MimePreambleFile", "YES"),
        yes_no("TabSize", "YES"),
        yes_no("SmtpcPort", "NO"),
        yes_no("SmtpdPort", "YES"),
        yes_no("EnableESMTP", "YES"),
        yes_no("EnableESMTPSIZE", "YES"),
        text("LdapServer", "bottom", "bottom,top"),
        yes_no("DisableVrfyCmd", "NO"),
    }),
    section("Anti-spam", {
        yes_no("CheckMailFrom", "NO"),
        yes_no("CheckFrom", "YES"),
        yes_no("CheckReplyTo", "NO"),
        yes_no("CheckResentFrom", "NO"),
        yes_no("CheckSender", "NO"),
        number("CheckReturnPath", "25"),
        number("SendNotificationToPostmaster", "25"),
        text("ActionOnSpamMail", "base64", "base64,quoted-printable,x-uue"),
        yes_no("SmtpIPRestriction", "YES"),
        text("RejectNonResolvableIP", "Quoted-Printable", "base64,quoted-printable"),
        text("RejectUnvalidatedDomain", "x-uue"),
    }),
    section("DelayedMail", {
        yes_no("WarnOnlyOnce", "NO"),
        yes_no("EnableNotification", "YES"),
        yes_no("EnableSuccessNotification", "NO"),
        yes_no("SendNotificationAfter", "NO"),
        yes_no("DelayMessageFile", "NO"),
        number("SuccessDeliveryMessageFile", "25"),
    }),
    section("Confirm", {
        yes_no("Quit", "NO"),
        yes_no("DeleteMsg", "YES"),
        yes_no("MessageDeleted", "NO"),
        number("ClearLog", "25"),
    }),
    section("RealTimeLogAnalyzer", {
        yes_no("GeneralGWStatStartDate", "NO"),
        yes_no("SpamStatStartDate", "YES"),
        yes_no("SecureStatStartDate", "NO"),
        number("NumberOfLines", "25"),
    }),
    section("Dynamic Conversion", {
        yes_no("AutoCheckAddressFile", "NO"),
        yes_no("AutoCheckDomainFile", "YES"),
        yes_no("SMTPADR", "NO"),
        number("SMTPPOD", "25"),
    }),
    section("Tuning", {
        number("SMTPDtimeout", "5"),
        number("SMTPCInitialTimeout", "5"),
        number("SMTPCHeloTimeout", "5"),
        number("SMTPCQuitTimeout", "5"),
        number("SMTPCMailTimeout", "5"),
        number("SMTPCRcptTimeout", "5"),
        number("SMTPCDataTimeout", "5"),
        number("SMTPCDataBlockTimeout", "5"),
        number("SMTPCDataEndTimeout", "10"),
        number("DNStimeout", "5"),
        number("DataBufferSize", "4096"),
        number("DNSretries", "4"),
    }),
    section("PostOffice", {
        number("PoName", "5"),
        number("PoPath", "5"),
        number("InternetPOname", "5"),
        number("PoAdministrator", "5"),
        number("PoPassword", "5"),
    }),
    section("MsgStore", {
        number("HomeDir", "5"),
        number("Postmaster", "5"),
        number("PostmasterHomedir", "5"),
        number("RootDir", "5"),
        number("FilterFile", "5"),
        number("HostName", "5"),
    }),
    section("LocalMail", {
        number("HomeDir", "5"),
        number("TimeRetry", "5"),
    }),
    section("Ldap", {
        number("HostName", "5"),
        number("Port", "5"),
        number("UserName", "5"),
        number("Password", "5"),
    }),
    section("PreProcessor", {
        number("NumberOfModules", "5"),
        number("Module0", "5"),
        number("Module1", "5"),
        number("Module2", "5"),
        number("Module3", "5"),
        number("Module4", "5"),
    }),
    section("bsmtp", {
        text("BSMTPDirectory", ""),
        text("BSMTPConfigFile", "pop3.dat"),
        text("RecipientAddress", " postmaster@example.com"),
        number("timeOut", "10"),
        number("interval", "10"),
        text("DestinationHostName", "example.com"),
        text("LdapServer", ""),
        yes_no("EnableEncoder", "YES"),
        yes_no("EnableDecoder", "YES"),
    }),
    section("DLManager", {
        number("Domain", "5"),
        number("DBPath", "5"),
        number("DigestDelivTime", "5"),
        number("RestoreDb", "5"),
    }),
    section("Debug", {
        number("DetailedSMTPLog", "5"),
    }),
    section("Local Components", {
        number("SMTPD", "5"),
        number("SMTPC", "5"),
        number("CCIN", "5"),
        number("CCOUT", "5"),
    }),
    section("", {}),
};
// clang-format on

namespace {

constexpr std::size_t key_count() {
  std::size_t count = 0;
  for (const cfgSection& one : cfgTable) {
    for (const cfgKey* key = one.keys; *key->key != '\0'; ++key) {
      ++count;
    }
  }
  return count;
}

// getBufferFromTable() promises that 30 bytes hold every table value.
constexpr std::size_t longest_table_value() {
  std::size_t longest = 0;
  for (const cfgSection& one : cfgTable) {
    for (const cfgKey* key = one.keys; *key->key != '\0'; ++key) {
      const std::string_view value(key->tableValue);
      longest = value.size() > longest ? value.size() : longest;
    }
  }
  return longest;
}

static_assert(key_count() == 229);
static_assert(longest_table_value() == 29);

}  // namespace
