#pragma once
// The C signatures of the RP1210 entry points, shared by the binding that
// calls a driver library and the test driver library that implements one,
// so the two cannot drift apart. On Linux WINAPI is empty and HWND an
// integer; `long` is whatever the platform's C `long` is, as in a driver
// built there.
#include <cstdint>

#ifdef _WIN32
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>
using Rp1210Hwnd = HWND;
#else
#ifndef WINAPI
#define WINAPI
#endif
using Rp1210Hwnd = intptr_t;
#endif

extern "C" {
typedef short(WINAPI* RP1210_ClientConnect_t)(Rp1210Hwnd hwndClient, short nDeviceId, const char* fpchProtocol,
                                              long lTxBufferSize, long lRcvBufferSize,
                                              short nIsAppPacketizingIncomingMsgs);
typedef short(WINAPI* RP1210_ClientDisconnect_t)(short nClientID);
typedef short(WINAPI* RP1210_SendMessage_t)(short nClientID, char* fpchClientMessage, short nMessageSize,
                                            short nNotifyStatusOnTx, short nBlockOnSend);
typedef short(WINAPI* RP1210_ReadMessage_t)(short nClientID, char* fpchAPIMessage, short nBufferSize,
                                            short nBlockOnRead);
typedef short(WINAPI* RP1210_SendCommand_t)(short nCommandNumber, short nClientID, char* fpchClientCommand,
                                            short nMessageSize);
typedef void(WINAPI* RP1210_ReadVersion_t)(char* fpchDLLMajorVersion, char* fpchDLLMinorVersion,
                                           char* fpchAPIMajorVersion, char* fpchAPIMinorVersion);
typedef short(WINAPI* RP1210_GetErrorMsg_t)(short ErrorCode, char* fpchMessage);
typedef short(WINAPI* RP1210_GetHardwareStatus_t)(short nClientID, char* fpchClientInfo, short nInfoSize,
                                                  short nBlockOnRequest);
}
