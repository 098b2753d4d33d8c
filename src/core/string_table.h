#pragma once
// The numbered string table: every user-visible message, title and label,
// and the two registry key paths, looked up by number.
#include <cstdint>
#include <string>

namespace lp {

// The entries the program asks for by name (brand A; brand B is 100 on).
namespace Res {
inline constexpr int16_t AlreadyRunning = 101;
inline constexpr int16_t DriverNotInstalled = 102;
inline constexpr int16_t Lp2NotConnected = 103;
inline constexpr int16_t FileHardwareNotSupported = 104;
inline constexpr int16_t FileOlderThanInstalled = 105;
inline constexpr int16_t NoFileSelected = 106;
inline constexpr int16_t FileNotValid = 107;
inline constexpr int16_t FileNotApplicationType = 108;
inline constexpr int16_t Lp2FlashFailed = 109;
inline constexpr int16_t FlashNotAllowed = 110;
inline constexpr int16_t CompactNotConnected = 111;
inline constexpr int16_t CompactFileHardwareNotSupported = 112;
inline constexpr int16_t CompactFileOlderThanInstalled = 113;
inline constexpr int16_t FileNotFirmwareType = 114;
inline constexpr int16_t CompactFlashFailed = 115;
inline constexpr int16_t CheckSerialPort = 116;
inline constexpr int16_t FlashNextSteps = 500;
inline constexpr int16_t NotFound = 501;
inline constexpr int16_t ProgramTitle = 502;
inline constexpr int16_t FilePrefix = 503;
inline constexpr int16_t ErrorCodePrefix = 504;
inline constexpr int16_t ApplicationCaption = 505;
inline constexpr int16_t BootFirmwareCaption = 506;
inline constexpr int16_t BootHelperCaption = 507;
inline constexpr int16_t NotPresent = 508;
inline constexpr int16_t FlashSucceeded = 509;
inline constexpr int16_t FlashScreenName = 510;
inline constexpr int16_t SummaryScreenName = 511;
inline constexpr int16_t Lp2FullName = 512;
inline constexpr int16_t MakerName = 513;
inline constexpr int16_t Copyright = 514;
inline constexpr int16_t ProgramVersion = 515;
inline constexpr int16_t Lp2Name = 516;
inline constexpr int16_t FirmwareCaption = 517;
inline constexpr int16_t CompactName = 518;
inline constexpr int16_t SerialNumberCaption = 519;
inline constexpr int16_t UsbDriverVersionCaption = 520;
inline constexpr int16_t Lp2DriverVersionCaption = 521;
inline constexpr int16_t CompactDriverVersionCaption = 522;
inline constexpr int16_t SelectAndOk = 523;
inline constexpr int16_t Lp2RegistryKey = 800;
inline constexpr int16_t ToolkitRegistryKey = 801;
inline constexpr int16_t WirelessName = 1001;
inline constexpr int16_t WirelessFileHardwareNotSupported = 1050;
inline constexpr int16_t WirelessFileOlderThanInstalled = 1051;
} // namespace Res

// The text of entry `id`. An unknown number is a programming error: it is
// logged by the caller's context where available and gives the empty text.
std::string LoadResString(int16_t id);

// True when the table holds `id` (the brand-B block included).
bool HasResString(int16_t id);

} // namespace lp
