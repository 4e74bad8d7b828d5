// A reader as a USB device behind USB/IP: a thread that answers what a host's kernel asks, over a
// connection to the kernel's virtual host controller or over TCP for "usbip attach".
#pragma once

#include "vreader/lines/pace.h"
#include "vreader/lines/usb_faults.h"
#include "vreader/lines/usbip_wire.h"

#include <condition_variable>
#include <list>
#include <mutex>
#include <thread>

namespace vreader
{

constexpr size_t kReportsQueued = 20000;   // input reports that no host fetches
constexpr size_t kHeadersKept = 10000;     // of `usb reports`
constexpr size_t kMostPending = 1024;      // requests that a host may leave open
constexpr size_t kMostUnsent = 256 * 1024; // replies that a host may leave unread
constexpr size_t kMostImporters = 16;      // TCP clients that have not yet said what they want

// What the line tells the reader; called from the line's thread, without its lock.
struct UsbEvents
{
    std::function<void(const Bytes &payload)> take;      // of an output report
    std::function<void(const std::string &text)> remark; // for the trace
    std::function<void()> newHost; // what an earlier one left is of no interest any more
    std::function<void()> unplug;  // a fault has pulled the plug
};

// Gives the device's end of a USB/IP connection; -1 and an error text.
using UsbConnect = std::function<int(std::string *error)>;

struct InputReport
{
    Bytes data;
    int status = 0;     // other than 0: the transfer ends so, without data
    bool halts = false; // no report: the endpoint halts
    TimePoint due;
};

struct PendingIn
{
    uint32_t sequence = 0;
    uint32_t length = 0;
};

// A TCP client before it has taken the device over.
struct Importer
{
    int descriptor = -1;
    Bytes input;
};

struct UsbCounts
{
    uint64_t in = 0;   // input reports that the host has fetched
    uint64_t out = 0;  // output reports, those by SET_REPORT included
    uint64_t lost = 0; // input reports that found no room
};

struct UsbLine
{
    // Fixed once the thread runs.
    UsbConnect connect;        // empty: hosts come by TCP
    bool waitsForHost = false; // plugging in is over when the kernel has configured the device
    UsbEvents events;
    int wake = -1;
    int listener = -1;
    std::string address; // of the listener: "127.0.0.1:3240"
    std::thread thread;

    // Guarded by `lock`.
    std::mutex lock;
    std::condition_variable changed;
    bool stopping = false;
    bool plugged = false;
    int handedOver = -1; // a connection that the thread is to serve
    bool hangUp = false; // the thread is to let go of the one it serves
    UsbDevice device;
    std::deque<InputReport> reports;
    std::vector<UsbFault> inFaults;
    std::vector<UsbFault> outFaults;
    std::deque<uint16_t> headers; // mode id and length of output reports
    bool echoes = false;          // output reports come back and do not reach the reader
    uint8_t modeId = 0;           // of the last output report: answers carry it back
    UsbCounts counts;
    int connection = -1;
    bool hostSeen = false; // the connection's host has configured the device
    Bytes input;
    Bytes output;
    std::deque<PendingIn> pendingIn;
    std::vector<uint32_t> heldOut; // sequence numbers of output reports not accepted
    std::list<Importer> importers;
};

// Starts the thread; with a `listen` address it also waits for TCP clients. Not yet plugged in.
UsbLine *OpenUsbLine(const UsbIdentity &identity, UsbConnect connect, const std::string &listen,
                     UsbEvents events, std::string *error);
void CloseUsbLine(UsbLine *line);

bool PlugUsb(UsbLine *line, std::string *error);
void UnplugUsb(UsbLine *line); // the host sees the device vanish
// True when a host has configured the device by then.
bool WaitForHost(UsbLine *line, std::chrono::milliseconds limit);

// Bytes of the reader to the host, in as many input reports as they need.
void SendReports(UsbLine *line, const uint8_t *bytes, size_t count);
// One input report, exactly these bytes, with the faults that are due.
void SendReport(UsbLine *line, Bytes report);

// ---- Between the usbip*.cpp files; under the lock ----

// What the thread has to tell the reader once it has let go of the lock.
struct UsbNews
{
    bool newHost = false;
    bool unplug = false;
    std::vector<Bytes> payloads;
    std::vector<std::string> remarks;
};

// usbip.cpp: puts an input report into the queue, with what is due to go wrong. True when the plug is
// to be pulled.
bool QueueWithFaults(UsbLine *line, Bytes data);

// usbip_requests.cpp: takes whole messages from the input. False when the connection is at its end.
bool ServeRequests(UsbLine *line, UsbNews *news);
void AnswerPendingReads(UsbLine *line);

// usbip_import.cpp
bool ListenForImporters(UsbLine *line, const std::string &address, std::string *error);
void AcceptImporter(UsbLine *line);
// Reads and answers; when one takes the device over, its connection becomes the line's.
void ServeImporter(UsbLine *line, Importer *importer, UsbNews *news);
void TakeConnection(UsbLine *line, int connection, UsbNews *news);

} // namespace vreader
