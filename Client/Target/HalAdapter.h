// The thin adapter below the HAL: it installs the middleware's transport table, whose functions
// check priority and word size, call the transaction front end, and convert the client status
// into a HAL status.
#pragma once

class CTargetClient;

// Brings up the HAL with its device families and routes its transport to pClient.
void InstallHalAdapter(CTargetClient* pClient);
