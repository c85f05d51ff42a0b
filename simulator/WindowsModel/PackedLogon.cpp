#include "WindowsModel/NtStatus.h"

#include "WindowsModel/PackedLogon.h"

#include "WindowsModel/SimulatedWindows.h"

#include <cstring>
#include <sstream>

namespace WindowsModel {

namespace {

constexpr size_t HeaderBytes = sizeof(KERB_INTERACTIVE_UNLOCK_LOGON);
static_assert(HeaderBytes == 64);

/// Texts and numbers in one line.
template <class... Parts>
std::string Words(Parts... parts)
{
    std::ostringstream line;
    (line << ... << parts);
    return line.str();
}

/// Reads one block and writes down what is wrong with it.
class Decoder {
public:
    Decoder(const void* block, size_t bytes) : m_block(static_cast<const BYTE*>(block)), m_bytes(bytes) {}

    PackedLogon Decode(CREDENTIAL_PROVIDER_USAGE_SCENARIO scenario)
    {
        if (m_block == nullptr) {
            Violation("there is no block");
            return m_logon;
        }
        if (m_bytes < HeaderBytes) {
            Violation(Words("the block has ", m_bytes, " bytes, less than its header of ", HeaderBytes));
            return m_logon;
        }
        KERB_INTERACTIVE_UNLOCK_LOGON header;
        std::memcpy(&header, m_block, sizeof header);
        CheckMessageType(header.Logon.MessageType, scenario);
        std::memcpy(&m_logon.logonId, &header.LogonId, sizeof m_logon.logonId);
        if (m_logon.logonId != 0)
            Violation(Words("LogonId is ", m_logon.logonId, " instead of 0"));
        m_logon.domain = ReadString("LogonDomainName", header.Logon.LogonDomainName, m_logon.domainPlace);
        m_logon.user = ReadString("UserName", header.Logon.UserName, m_logon.userPlace);
        m_logon.password = ReadString("Password", header.Logon.Password, m_logon.passwordPlace);
        if (m_expected != m_bytes)
            Violation(Words("header and strings take ", m_expected, " bytes, the block has ", m_bytes));
        return m_logon;
    }

private:
    void Violation(std::string words) { m_logon.violations.push_back(std::move(words)); }

    void CheckMessageType(DWORD type, CREDENTIAL_PROVIDER_USAGE_SCENARIO scenario)
    {
        m_logon.messageType = type;
        const DWORD expected = scenario == CPUS_LOGON                ? KerbInteractiveLogon
                               : scenario == CPUS_UNLOCK_WORKSTATION ? KerbWorkstationUnlockLogon
                                                                     : 0;
        if (type != expected)
            Violation(Words("MessageType is ", type, " instead of ", expected));
    }

    std::wstring ReadString(const char* name, const UNICODE_STRING& string, PackedString& place)
    {
        const size_t offset = reinterpret_cast<size_t>(string.Buffer);
        place = {string.Length, string.MaximumLength, offset};
        const size_t length = string.Length;
        if (string.MaximumLength != string.Length)
            Violation(Words(name, ".MaximumLength is ", string.MaximumLength, ", Length is ", length));
        if (length % sizeof(wchar_t) != 0)
            Violation(Words(name, ".Length is odd: ", length));
        if (offset != m_expected)
            Violation(Words(name, ".Buffer is ", offset, " instead of the offset ", m_expected));
        m_expected += length;
        if (offset > m_bytes || length > m_bytes - offset) {
            Violation(Words(name, " reaches beyond the block"));
            return {};
        }
        // The offset may be odd in a block that breaks the rules.
        std::wstring text(length / sizeof(wchar_t), L'\0');
        std::memcpy(text.data(), m_block + offset, text.size() * sizeof(wchar_t));
        if (text.find(L'\0') != std::wstring::npos)
            Violation(Words(name, " holds a NUL"));
        return text;
    }

    const BYTE* m_block;
    size_t m_bytes;
    /// Where the next string has to begin.
    size_t m_expected = HeaderBytes;
    PackedLogon m_logon;
};

} // namespace

PackedLogon DecodePackedLogon(const void* block, size_t bytes, CREDENTIAL_PROVIDER_USAGE_SCENARIO scenario)
{
    return Decoder(block, bytes).Decode(scenario);
}

PackedLogon DecodePackedLogon(const CREDENTIAL_PROVIDER_CREDENTIAL_SERIALIZATION& serialization,
                              CREDENTIAL_PROVIDER_USAGE_SCENARIO scenario, const CLSID& provider)
{
    PackedLogon logon =
        DecodePackedLogon(serialization.rgbSerialization, serialization.cbSerialization, scenario);
    if (serialization.clsidCredentialProvider != provider)
        logon.violations.push_back("clsidCredentialProvider is another class");
    const LONG negotiate = SimulatedWindows::Instance().Lock()->lsa.PackageNumber("Negotiate");
    if (serialization.ulAuthenticationPackage != ULONG(negotiate))
        logon.violations.push_back(Words("ulAuthenticationPackage is ", serialization.ulAuthenticationPackage,
                                         " instead of Negotiate, ", negotiate));
    return logon;
}

LogonResult Logon(const PackedLogon& logon)
{
    if (!logon.Valid())
        return {STATUS_INVALID_PARAMETER, STATUS_SUCCESS};
    std::optional<std::wstring> password = logon.password;
    if (ProtectionOf(logon.password) != Protection::None)
        password = Unprotect(logon.password);
    if (!password)
        return {STATUS_LOGON_FAILURE, STATUS_SUCCESS};
    const LogonVerdict verdict =
        CheckLogon(SimulatedWindows::Instance().Lock()->accounts, logon.domain, logon.user, *password);
    return {verdict.status, verdict.substatus};
}

} // namespace WindowsModel
