// Makes the seed corpora of the two protocol harnesses from real traffic: the client's front end
// carries out each transaction of the server message harness against the simulator's request
// handler over a socket pair, and what went each way is written out, the client's requests as
// seeds of sim_request and the simulator's replies as seeds of server_message.
//     nv-fuzz-make-seeds CORPUS_DIR
#include "ServerCodec.h"
#include "nvsim/Topology.h"

#include <cstdio>
#include <fstream>
#include <string>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t nSize);
extern int g_iSeedLinkFd;

namespace
{
const char* const kTopology = R"(server version=2.8 driver=1.0 interface=0x20071021 caps=0x3FF
device host0 endpoint device=0x0001 processor memory id=0x01 largeid=0x0001
device sw1 switch model=cps1848
device ep1 endpoint memory echo id=0x05 largeid=0x0005
host host0 localports=0 flash=64K
link host0:0 sw1:0
link sw1:1 ep1:0
route sw1 0x01 0
route sw1 0x05 1
)";

bool ReadExact(int iFd, uint8_t* p, size_t n)
{
    while (n > 0)
    {
        const ssize_t nGot = ::recv(iFd, p, n, 0);
        if (nGot <= 0)
        {
            return false;
        }
        p += nGot;
        n -= static_cast<size_t>(nGot);
    }
    return true;
}

void Write(const std::string& strPath, const std::vector<uint8_t>& bytes)
{
    std::ofstream(strPath, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}
} // namespace

int main(int argc, char** argv)
{
    if (argc != 2)
    {
        std::fprintf(stderr, "usage: nv-fuzz-make-seeds CORPUS_DIR\n");
        return 2;
    }
    const std::string strDir = argv[1];
    std::string strError;
    const auto pFabric = nvsim::LoadTopologyText(kTopology, &strError);
    if (!pFabric)
    {
        std::fprintf(stderr, "%s\n", strError.c_str());
        return 1;
    }
    for (int iOp = 0; iOp < 18; ++iOp)
    {
        const uint8_t uchSize = static_cast<uint8_t>(iOp == 9 ? 0 : 3);
        int aiPair[2];
        ::socketpair(AF_UNIX, SOCK_STREAM, 0, aiPair);
        std::vector<uint8_t> requests = {0};
        std::vector<uint8_t> replies = {static_cast<uint8_t>(iOp), uchSize};
        std::thread server(
            [&]
            {
                uint8_t abHeader[8];
                while (ReadExact(aiPair[1], abHeader, 8))
                {
                    const uint32_t ulId =
                        nvsim::codec::Get32(std::vector<uint8_t>(abHeader, abHeader + 8), 0);
                    const uint32_t ulLength =
                        nvsim::codec::Get32(std::vector<uint8_t>(abHeader, abHeader + 8), 4);
                    std::vector<uint8_t> body(ulLength);
                    if (!ReadExact(aiPair[1], body.data(), body.size()))
                    {
                        break;
                    }
                    requests.insert(requests.end(), abHeader, abHeader + 8);
                    requests.insert(requests.end(), body.begin(), body.end());
                    const auto outcome = nvsim::codec::Handle(*pFabric, ulId, body, false, 1000);
                    if (outcome.eAction == nvsim::codec::EAction::Reply)
                    {
                        const std::vector<uint8_t> bytes = nvsim::codec::Serialize(outcome.reply);
                        replies.insert(replies.end(), bytes.begin(), bytes.end());
                        ::send(aiPair[1], bytes.data(), bytes.size(), MSG_NOSIGNAL);
                    }
                }
            });
        g_iSeedLinkFd = aiPair[0];
        const uint8_t abOp[2] = {static_cast<uint8_t>(iOp), uchSize};
        LLVMFuzzerTestOneInput(abOp, sizeof abOp);
        g_iSeedLinkFd = -1;
        ::shutdown(aiPair[0], SHUT_RDWR);
        server.join();
        ::close(aiPair[1]);
        Write(strDir + "/sim_request/op" + std::to_string(iOp), requests);
        Write(strDir + "/server_message/op" + std::to_string(iOp), replies);
    }
    return 0;
}
