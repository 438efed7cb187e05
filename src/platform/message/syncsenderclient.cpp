#include "syncsenderclient.h"

SyncSenderClient::~SyncSenderClient() = default;
