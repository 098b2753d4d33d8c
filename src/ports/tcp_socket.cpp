#include "ports/tcp_socket.h"

namespace lp {

std::string tcpErrorDescription(int32_t number)
{
    switch (number) {
    case TcpError::AccessDenied:
        return "Permission denied: the system does not allow this connection";
    case TcpError::NetworkUnreachable:
        return "The network cannot be reached from this computer";
    case TcpError::ConnectionAborted:
        return "The connection was aborted on this computer";
    case TcpError::ConnectionReset:
        return "The connection was closed by the remote host";
    case TcpError::NoBufferSpace:
        return "Not enough socket resources are available";
    case TcpError::TimedOut:
        return "The connection attempt timed out: the remote host did not answer";
    case TcpError::ConnectionRefused:
        return "The connection was refused by the remote host";
    case TcpError::HostNotFound:
        return "The host name could not be found";
    default:
        return "Socket error";
    }
}

} // namespace lp
