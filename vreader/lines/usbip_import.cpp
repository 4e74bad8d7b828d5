// TCP clients: "usbip list" and "usbip attach" of any machine that may connect.
#include "vreader/lines/usbip.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <netinet/tcp.h>
#include <unistd.h>

#include "vreader/words.h"

namespace vreader
{

namespace
{

// "[ADDRESS:]PORT"; only this machine may connect when no address is given.
bool ParseAddress(const std::string &text, sockaddr_in *address)
{
    const size_t colon = text.rfind(':');
    const std::string host = colon == std::string::npos ? "127.0.0.1" : text.substr(0, colon);
    const std::optional<unsigned long> port =
        Number(colon == std::string::npos ? text : text.substr(colon + 1), 0, 65535);
    *address = {};
    address->sin_family = AF_INET;
    address->sin_port = htons(static_cast<uint16_t>(port.value_or(0)));
    return port && inet_pton(AF_INET, host.c_str(), &address->sin_addr) == 1;
}

std::string AddressText(const sockaddr_in &address)
{
    char host[INET_ADDRSTRLEN] = "";
    inet_ntop(AF_INET, &address.sin_addr, host, sizeof host);
    return std::string(host) + ":" + std::to_string(ntohs(address.sin_port));
}

void End(Importer *importer)
{
    close(importer->descriptor);
    importer->descriptor = -1;
}

// A few hundred bytes into an empty socket: what does not fit belongs to a client that is no
// importer.
bool Send(const Importer &importer, const Bytes &bytes)
{
    return send(importer.descriptor, bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT) ==
           static_cast<ssize_t>(bytes.size());
}

ImportStatus Judge(const UsbLine &line, const uint8_t *busId)
{
    // The whole field counts: the text and zero bytes behind it.
    uint8_t wanted[kBusIdSize] = {};
    std::memcpy(wanted, kBusId, sizeof kBusId);
    if (std::memcmp(busId, wanted, sizeof wanted) != 0)
        return ImportStatus::noSuchDevice;
    if (!line.plugged)
        return ImportStatus::notAvailable;
    return line.connection >= 0 ? ImportStatus::busy : ImportStatus::ok;
}

void Import(UsbLine *line, Importer *importer, UsbNews *news)
{
    const ImportStatus status = Judge(*line, importer->input.data() + kOperationSize);
    if (!Send(*importer, ImportReply(status, line->device)) || status != ImportStatus::ok)
        return End(importer);
    TakeConnection(line, std::exchange(importer->descriptor, -1), news);
    line->input.assign(importer->input.begin() + kImportSize, importer->input.end());
}

} // namespace

bool ListenForImporters(UsbLine *line, const std::string &text, std::string *error)
{
    sockaddr_in address = {};
    if (!ParseAddress(text, &address))
    {
        *error = "\"" + text + "\" is no address to listen on; expected [ADDRESS:]PORT";
        return false;
    }
    line->listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    const int yes = 1;
    socklen_t size = sizeof address;
    if (line->listener < 0 ||
        setsockopt(line->listener, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes) != 0 ||
        bind(line->listener, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0 ||
        listen(line->listener, 8) != 0 ||
        getsockname(line->listener, reinterpret_cast<sockaddr *>(&address), &size) != 0)
    {
        *error = "listening on " + AddressText(address) + ": " + std::strerror(errno);
        return false;
    }
    line->address = AddressText(address);
    return true;
}

void AcceptImporter(UsbLine *line)
{
    const int descriptor = accept4(line->listener, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
    if (descriptor < 0)
        return;
    const int yes = 1;
    setsockopt(descriptor, IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes);
    setsockopt(descriptor, SOL_SOCKET, SO_KEEPALIVE, &yes, sizeof yes);
    if (line->importers.size() >= kMostImporters) // the one that has been silent longest
    {
        End(&line->importers.front());
        line->importers.pop_front();
    }
    line->importers.emplace_back();
    line->importers.back().descriptor = descriptor;
}

void ServeImporter(UsbLine *line, Importer *importer, UsbNews *news)
{
    uint8_t buffer[256];
    const ssize_t count = recv(importer->descriptor, buffer, sizeof buffer, MSG_DONTWAIT);
    if (count < 0 && (errno == EAGAIN || errno == EINTR))
        return;
    if (count <= 0)
        return End(importer);
    importer->input.insert(importer->input.end(), buffer, buffer + count);
    if (importer->input.size() < kOperationSize)
        return;
    const std::optional<uint16_t> code = OperationCode(importer->input.data());
    if (code == static_cast<uint16_t>(UsbOperation::importRequest))
    {
        if (importer->input.size() >= kImportSize)
            Import(line, importer, news);
        return;
    }
    if (code == static_cast<uint16_t>(UsbOperation::listRequest))
        Send(*importer, DeviceList(line->plugged ? &line->device : nullptr));
    End(importer);
}

void TakeConnection(UsbLine *line, int connection, UsbNews *news)
{
    line->connection = connection;
    line->input.clear();
    line->output.clear();
    line->pendingIn.clear();
    line->heldOut.clear();
    line->reports.clear();
    line->device.configuration = 0;
    line->device.inHalted = line->device.outHalted = false;
    line->hostSeen = false;
    news->newHost = true;
}

} // namespace vreader
