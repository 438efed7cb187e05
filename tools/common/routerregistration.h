#pragma once

#include <string>

class Client;

// Claims the client's name at the router ("register" to clientmgr) and waits up to timeoutMs
// for the answer. Call it before any other thread receives on the client. Returns false with
// the reason in error when the router refuses, does not answer or the connection breaks.
bool registerWithRouter(Client &client, int timeoutMs, std::string &error);
