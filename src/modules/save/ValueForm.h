#pragma once

#include <string>
#include <string_view>

namespace SDK {

/// What a value of the BMC part of a file may be: one row for each form that a comment promises.
/// The comment of a key, the check of a value and the manual page all follow from it.
struct ValueForm {
  enum class Kind {
    Any,             ///< nothing is promised
    Words,           ///< one of `words`, in any case
    Number,          ///< decimal digits, from `low` to `high`
    Text,            ///< printable ASCII with blanks, at most `high` bytes
    Word,            ///< printable ASCII without blanks, at most `high` bytes; %XX is one
    Ipv4Address,     ///< dotted decimal
    IpAddress,       ///< the same, or IPv6
    HardwareAddress  ///< six bytes in hexadecimal
  };

  const char* comment;  ///< written behind the value: "" or a tab and "; ..."
  Kind kind = Kind::Any;
  int low = 0;
  int high = 0;
  std::string_view words = {};  ///< in capitals, with a blank between two
};

/// Why `value` has not this form, as a part of a sentence that says what is allowed; empty when it
/// has. Only a text may be empty.
[[nodiscard]] std::string Objection(const ValueForm& form, const std::string& value);

/// The forms, by the name of what they hold.
namespace Forms {
using Kind = ValueForm::Kind;

inline constexpr ValueForm kNone = {""};
inline constexpr ValueForm kNotEdited = {"\t; This field should not be edited"};
inline constexpr ValueForm kEnableOrDisable = {"\t; Options: Enable or Disable", Kind::Words, 0, 0,
                                               "ENABLE DISABLE"};
inline constexpr ValueForm kEnableDisable = {"\t; Options: Enable, Disable", Kind::Words, 0, 0,
                                             "ENABLE DISABLE"};
inline constexpr ValueForm kPowerPolicy = {"\t; Options: On, Off or Restore", Kind::Words, 0, 0,
                                           "ON OFF RESTORE"};
inline constexpr ValueForm kUserName = {
    "\t; ASCII printable characters in the range of 0x21 to 0x7E. Max length 16 bytes", Kind::Word,
    0, 16};
// The blank at the end is as files in the field have it.
inline constexpr ValueForm kPrivilege = {"\t; Options: User, Operator, Admin, Callback, NoAccess ",
                                         Kind::Words, 0, 0,
                                         "USER OPERATOR ADMIN CALLBACK NOACCESS"};
inline constexpr ValueForm kHostName = {
    "\t; ASCII printable characters in the range of 0x21 to 0x7E. Max length 64 bytes", Kind::Word,
    0, 64};
inline constexpr ValueForm kAccessMode = {"\t; Options: Disabled, Always, shared", Kind::Words, 0,
                                          0, "DISABLED ALWAYS SHARED"};
inline constexpr ValueForm kPrivilegeLimit = {"\t; Options: User, Operator, Admin", Kind::Words, 0,
                                              0, "USER OPERATOR ADMIN"};
inline constexpr ValueForm kCommunityString = {"\t; Up to 16 bytes, no space allowed", Kind::Word,
                                               0, 16};
inline constexpr ValueForm kArpInterval = {
    "\t; Decimal value between 0 & 255. This values is in milliseconds. Input value rounded down "
    "to the nearest 500ms value",
    Kind::Number, 0, 255};
inline constexpr ValueForm kDhcp = {
    "\t; Options: Enable or Disable. If 'Disable' static IP will be used", Kind::Words, 0, 0,
    "ENABLE DISABLE"};
inline constexpr ValueForm kIpv6Source = {"\t; Options: STATIC, DHCPV6 or AUTO", Kind::Words, 0, 0,
                                          "STATIC DHCPV6 AUTO"};
inline constexpr ValueForm kIpv4Address = {"\t; In xxx.xxx.xxx.xxx form", Kind::Ipv4Address};
inline constexpr ValueForm kIpAddress = {
    "\t; In xxx.xxx.xxx.xxx or xxxx:xxxx:xxxx:xxxx:xxxx:xxxx:xxxx:xxxx form", Kind::IpAddress};
inline constexpr ValueForm kHardwareAddress = {"\t; In xx-xx-xx-xx-xx-xx form",
                                               Kind::HardwareAddress};
inline constexpr ValueForm kSolPrivilege = {"\t; Options: Admin, User, Operator", Kind::Words, 0, 0,
                                            "ADMIN USER OPERATOR"};
inline constexpr ValueForm kSolRetries = {"\t; Decimal value in the range 0-7", Kind::Number, 0, 7};
inline constexpr ValueForm kSolInterval = {
    "\t; Decimal value in the range of 0-2559 rounded down to the nearest unit of 10. In "
    "milliseconds",
    Kind::Number, 0, 2559};
inline constexpr ValueForm kSolBaudRate = {
    "\t; Options: 9600, 19200, 38400, 57600, 115200. Refer respective platform FW specifications "
    "for the supported Baudrates",
    Kind::Words, 0, 0, "9600 19200 38400 57600 115200"};
inline constexpr ValueForm kText16 = {"\t; ASCII printable character max up to 16 bytes",
                                      Kind::Text, 0, 16};
inline constexpr ValueForm kText32 = {"\t; ASCII printable character max up to 32 bytes",
                                      Kind::Text, 0, 32};
inline constexpr ValueForm kText64 = {"\t; ASCII printable character max up to 64 bytes",
                                      Kind::Text, 0, 64};
inline constexpr ValueForm kSmtpPort = {"\t; Valid SMTP port number in the range of 1-65535",
                                        Kind::Number, 1, 65535};
inline constexpr ValueForm kMailEncryption = {"\t; Options: NONE, ESMTP_STARTTLS, ESMTP_SMTPS",
                                              Kind::Words, 0, 0, "NONE ESMTP_STARTTLS ESMTP_SMTPS"};
}  // namespace Forms

/// The comment of fields that a person leaves alone.
inline constexpr const char* kNotEditedComment = Forms::kNotEdited.comment;

}  // namespace SDK
