// A server peer for the front end's tests that follows a script: it expects exact byte counts
// from the client, records what came, and answers with byte strings written out by hand. Each
// answer piece goes as a separate send, so tests control the framing the client sees.
#pragma once

#include <cstdint>
#include <string>
#include <thread>
#include <vector>

namespace nvtest
{
// "00 0a ff" -> bytes; blanks are ignored.
std::vector<uint8_t> Bytes(const std::string& strHex);

class CScriptedServer
{
public:
    struct SStep
    {
        size_t nExpect = 0;                       // bytes to read from the client first
        std::vector<std::vector<uint8_t>> answer; // pieces to send back, one send each
        bool bHangUp = false;                     // close the connection after the answer
        int nDelayMs = 0;                         // wait before answering
    };

    CScriptedServer();
    ~CScriptedServer();

    // Adds a step; the steps run in order once a client connects.
    void Expect(size_t nBytes, std::vector<std::vector<uint8_t>> answer = {}, bool bHangUp = false,
                int nDelayMs = 0);
    // Starts listening on 127.0.0.1 and returns the port.
    uint16_t Start();
    // Waits for the script to end and returns everything the client sent.
    std::vector<uint8_t> Finish();

private:
    void Run();

    std::vector<SStep> m_steps;
    std::vector<uint8_t> m_received;
    int m_nListen = -1;
    std::thread m_thread;
};
} // namespace nvtest
