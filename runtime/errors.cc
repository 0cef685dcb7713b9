#include "runtime/errors.h"

#include <cstdio>
#include <cstring>
#include <iterator>

#include "runtime/resource_strings.h"

namespace qorarc {

namespace {

struct ErrorMessage {
  int16_t code;
  const char* text;
};

// Every message of the runtime, by code. The texts are the runtime's own,
// trailing blanks and misspellings included: other tools match on them.
constexpr ErrorMessage kErrorMessages[] = {
    {0, "Success"},
    {-1, "False"},
    {-2, "First value is greater"},
    {-3, "Second value is greater"},
    {-4, "Parameter changed"},
    {-5, "Success, no server transaction done"},
    {-6, "Value too big"},
    {-7, "Value too small"},
    {-8, "Operation in progress"},
    {-9, "KAVELON I/O driver warning"},
    {-10, "No more archive items"},
    {-11, "Object is array"},
    {-12, "Closed"},
    {-13, "End of file"},
    {-14, "Parameter may be incorrect"},
    {-100, "Not enough memory"},
    {-101, "Assertion failure"},
    {-102, "Timeout"},
    {-103, "General input variable error"},
    {-104, "Invalid configuration version"},
    {-105, "Not implemented"},
    {-106, "Invalid parameter"},
    {-107, "COM/OLE error"},
    {-108, "KAVELON Module error - some driver or block is not installed or licensed"},
    {-109, "KAVELON I/O driver error"},
    {-110, "Task creation error"},
    {-111, "Operating system call error "},
    {-112, "Invalid operating system version"},
    {-113, "Access denied by operating system "},
    {-114, "Block period has not been set"},
    {-115, "Initialization failed"},
    {-116, "KAVELON configuration is being changed"},
    {-117, "Invalid target device"},
    {-118, "Access denied by KAVELON security mechanism"},
    {-119, "Block or object is not installed or licensed"},
    {-120, "Checksum mismatch"},
    {-121, "Object already exists"},
    {-122, "Object doesn't exist"},
    {-123, "System user doesn't belong to any KAVELON group"},
    {-124, "Password mismatch"},
    {-125, "Bad user name or password"},
    {-126, "Target device is not compatible"},
    {-127, "Resource is locked and the operation is not permitted"},
    {-128, "String is not valid in UTF8 codepage"},
    {-129, "Start of executive not allowed"},
    {-130, "Some resource count reached limit"},
    {-131, "Text value has been truncated"},
    {-132, "Unsufficient buffer for requested operation"},
    {-133, "Block execution halted due to runtime error"},
    {-134, "Try again"},
    {-135, "Process has been started"},
    {-136, "Object is not compatible"},
    {-200, "Class not registered"},
    {-201, "Class already registered"},
    {-202, "Not enough space for registry"},
    {-203, "Registry index out of range"},
    {-204, "Invalid context"},
    {-205, "Invalid identifier"},
    {-206, "Invalid input flag"},
    {-207, "Invalid input mask"},
    {-208, "Invalid object type"},
    {-209, "Invalid variable type"},
    {-210, "Invalid object workspace"},
    {-211, "Symbol not found"},
    {-212, "Symbol is ambiguous"},
    {-213, "Range check error"},
    {-214, "Not enough search space"},
    {-215, "Write to read-only variable denied"},
    {-216, "Data not ready"},
    {-217, "Value out of range"},
    {-218, "Input connection error"},
    {-219, "Type ANY not resolved (unconnected signal or loop)"},
    {-220, "QORLANG compilation error"},
    {-300, "Stream overflow"},
    {-301, "Stream underflow"},
    {-302, "Stream send error"},
    {-303, "Stream receive error"},
    {-304, "Stream download error"},
    {-305, "Stream upload error"},
    {-306, "File creation error"},
    {-307, "File open error"},
    {-308, "File close error"},
    {-309, "File read error"},
    {-310, "File write error"},
    {-311, "Invalid format"},
    {-312, "Unable to compress files"},
    {-313, "Unable to extract files"},
    {-400, "Network communication failure"},
    {-401, "Communication already initialized"},
    {-402, "Communication finished successfully"},
    {-403, "Communication closed unexpectedly"},
    {-404, "Unknown command"},
    {-405, "Unexpected command"},
    {-406, "Communication closed unexpectedly, probably 'Too many clients'"},
    {-407, "Communication timeout"},
    {-408, "Target device not found"},
    {-409, "Link failed"},
    {-410, "KAVELON configuration has been changed"},
    {-411, "KAVELON executive is being terminated"},
    {-412, "KAVELON executive was terminated"},
    {-413, "Connection refused"},
    {-414, "Target device is unreachable"},
    {-415, "Unable to resolve target in DNS"},
    {-416, "Error reading from socket"},
    {-417, "Error writing to socket"},
    {-418, "Invalid operation on socket"},
    {-419, "Reserved for socket 1"},
    {-420, "Reserved for socket 2"},
    {-421, "Reserved for socket 3"},
    {-422, "Reserved for socket 4"},
    {-423, "Reserved for socket 5"},
    {-424, "Unable to create SSL context"},
    {-425, "Unable to load certificate"},
    {-426, "SSL handshake error"},
    {-427, "Certificate verification error"},
    {-428, "Reserved for SSL 2"},
    {-429, "Reserved for SSL 3"},
    {-430, "Reserved for SSL 4"},
    {-431, "Reserved for SSL 5"},
    {-432, "Relay rejected"},
    {-433, "STARTTLS rejected"},
    {-434, "Authentication method rejected"},
    {-435, "Authentication failed"},
    {-436, "Send operation failed"},
    {-437, "Receive operation failed"},
    {-438, "Communication command failed"},
    {-439, "Receiving buffer too small"},
    {-440, "Sending buffer too small"},
    {-441, "Invalid header"},
    {-442, "HTTP server responded with error"},
    {-443, "HTTP server responded with redirect"},
    {-444, "Operation would blok"},
    {-445, "Invalid operation"},
    {-446, "Communication closed"},
    {-447, "Connection cancelled"},
    {-448, "Operation not permitted"},
    {-449, "Invalid CRC"},
    {-450, "Invalid response"},
    {-451, "Reponse mismatch"},
    {-452, "Framing error"},
    {-500, "General numeric error"},
    {-501, "Division by zero"},
    {-502, "Numeric stack overflow"},
    {-503, "Invalid numeric instruction"},
    {-504, "Invalid numeric address"},
    {-505, "Invalid numeric type"},
    {-506, "Not initialized numeric value"},
    {-507, "Numeric argument overflow/underflow"},
    {-508, "Numeric range check error"},
    {-509, "Invalid subvector/submatrix range"},
    {-510, "Numeric value too close to zero"},
    {-511, "ODE/DAE Solver error"},
    {-600, "Archive seek out of buffer"},
    {-601, "Archive semaphore fatal error"},
    {-602, "Archive cleared"},
    {-603, "Archive reconstructed from saved vars"},
    {-604, "Archive reconstructed from normal vars"},
    {-605, "Archive check sum error"},
    {-606, "Archive integrity error"},
    {-607, "Archive sizes changed"},
    {-608, "Maximum size of disk archive file exceeded"},
    {-700, "MC - Invalid parameter"},
    {-701, "MC - Out of range"},
    {-702, "MC - Position not reachable"},
    {-703, "MC - Invalid axis state"},
    {-704, "MC - Torque limit exceeded"},
    {-705, "MC - Time limit exceeded"},
    {-706, "MC - Distance limit exceeded"},
    {-707, "MC - Step change in position or velocity"},
    {-708, "MC - Base axis error or invalid state"},
    {-709, "MC - Stopped by drive FAULT"},
    {-710, "MC - Stopped by POSITION limit"},
    {-711, "MC - Stopped by VELOCITY limit"},
    {-712, "MC - Stopped by ACCELERATION limit"},
    {-713, "MC - Stopped by LIMITSWITCH"},
    {-714, "MC - Stopped by position LAG"},
    {-715, "MC - Axis disabled during motion"},
    {-716, "MC - Transition failed"},
    {-717, "MC - Servodrive failed or disabled"},
    {-718, "MC - Not used"},
    {-719, "MC - Not used"},
    {-720, "MC - General failure"},
    {-721, "MC - Not implemented"},
    {-722, "MC - Command is aborted"},
    {-723, "MC - Conflict in block and axis periods"},
    {-724, "MC - Busy, waiting for activation"},
    {-800, "Unable to identify Ethernet interface"},
    {-801, "Unable to identify CPU"},
    {-802, "Unable to identify HDD"},
    {-803, "Invalid device code"},
    {-804, "Invalid licensing key"},
    {-805, "Missing or insufficient license"},
    {-900, "Web request too large"},
    {-901, "Web reply too large"},
    {-902, "Invalid format"},
    {-903, "Invalid parameter"},
    {-1000, "Result is not evaluated"},
    {-1001, "The searched object/pattern can not be found"},
    {-1002, "The search criterion returned more corresponding objects"},
    {-1100, "FMI Context allocation failure"},
    {-1101, "Invalid FMU version"},
    {-1102, "FMI XML parsing error"},
    {-1103, "FMI Model Exchange kind required"},
    {-1104, "FMI Co-Simulation kind required"},
    {-1105, "Could not create FMU loading mechanism"},
    {-1106, "Instantiation of FMU failed"},
    {-1107, "Termination of FMU failed"},
    {-1108, "FMU reset failed"},
    {-1109, "FMU Experiment setup failed"},
    {-1110, "Entering FMU initialization mode failed"},
    {-1111, "Exiting FMU initialization mode failed"},
    {-1112, "Error getting FMU variable list"},
    {-1113, "Error getting FMU real variable"},
    {-1114, "Error setting FMU real variable"},
    {-1115, "Error getting FMU integer variable"},
    {-1116, "Error setting FMU integer variable"},
    {-1117, "Error getting FMU boolean variable"},
    {-1118, "Error setting FMU boolean variable"},
    {-1119, "Doing a FMU simulation step failed"},
    {-1120, "FMU has too many inputs"},
    {-1121, "FMU has too many outputs"},
    {-1122, "FMU has too many parameters"},
    {-1123, "Error importing FMU new discrete states"},
    {-1124, "Entering FMU continuous time mode failed"},
    {-1125, "Error getting FMU continuous states"},
    {-1126, "Error setting FMU continuous states"},
    {-1127, "Error getting FMU event indicators"},
    {-1128, "Error setting FMU time"},
    {-1129, "Entering FMU event mode failed"},
    {-1130, "Error getting FMU derivatives"},
    {-1131, "Error completing integrator step"},
};

// Positive codes and codes beyond the last resolved one point at these two
// slots, which are never registered, so their text names the slot.
constexpr int kPositiveCodeSlot = 2148;
constexpr int kOutOfTableSlot = 2149;
// Lowest code resolved through the table. The model-import group goes on to
// -1131, but its last nine codes have always resolved to kOutOfTableSlot and
// callers rely on that text.
constexpr int kLowestResolvedCode = -1122;

int SlotOf(int16_t code) {
  if (code == 0) return 1;
  if (code > 0) return kPositiveCodeSlot;
  int local = static_cast<int16_t>(code | 0x4000);
  if (local < kLowestResolvedCode) return kOutOfTableSlot;
  return 1 - local;
}

}  // namespace

void RegisterErrorMessages() {
  ResourceString list[std::size(kErrorMessages) + 1] = {};
  size_t row = 0;
  for (const ErrorMessage& message : kErrorMessages)
    list[row++] = {1 - message.code, message.text};
  list[row] = {0, nullptr};
  RegisterResourceStrings(list);
}

char* GetErrorText(char* buffer, int16_t code) {
  int slot = SlotOf(code);
  const char* text = ResourceText(slot);
  if (text == nullptr) {
    std::snprintf(buffer, kErrorTextSize, "Unknown resource %i", slot);
    return buffer;
  }
  // A registered text too long for the buffer is reported by its slot, but
  // still as a remote error when it is one.
  if (std::strlen(text) >= kErrorTextSize)
    std::snprintf(buffer, kErrorTextSize, "Unknown resource %i", slot);
  else
    std::strcpy(buffer, text);
  if (code <= -16384) {
    size_t used = std::strlen(buffer);
    std::snprintf(buffer + used, kErrorTextSize - used, " on the target device");
  }
  return buffer;
}

}  // namespace qorarc
