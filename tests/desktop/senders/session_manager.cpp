// A session manager with one client: prints the address for SESSION_MANAGER, then "joined" when the client has, and
// ends the session as soon as there is something to read: the client is to save, then to go. Its restart hint is
// printed, and "gone" when it has closed the connection.

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <initializer_list>

#include <poll.h>
#include <unistd.h>

#include <X11/ICE/ICElib.h>
#include <X11/SM/SMlib.h>

// What session managers use to stay off the network; no header declares it.
extern "C" int _IceTransNoListen(const char* protocol);

namespace {

SmsConn g_client = nullptr;

void say(const char* text) {
    std::printf("%s\n", text);
    std::fflush(stdout);
}

Status onRegister(SmsConn client, SmPointer, char*) {
    char* const id = SmsGenerateClientID(client);
    SmsRegisterClientReply(client, id);
    std::free(id);
    g_client = client;
    say("joined");
    return True;
}

void onSaveDone(SmsConn client, SmPointer, Bool) {
    SmsDie(client);
}

void onClose(SmsConn client, SmPointer, int, char**) {
    IceConn const connection = SmsGetIceConnection(client);
    SmsCleanUp(client);
    IceSetShutdownNegotiation(connection, False);
    IceCloseConnection(connection);
    say("gone");
    _exit(EXIT_SUCCESS);
}

void onProperties(SmsConn, SmPointer, int count, SmProp** properties) {
    for (int i = 0; i < count; ++i) {
        if (std::strcmp(properties[i]->name, SmRestartStyleHint) == 0)
            std::printf("restart hint %d\n", *static_cast<unsigned char*>(properties[i]->vals[0].value));
    }
    std::fflush(stdout);
}

Status onClient(SmsConn, SmPointer, unsigned long* mask, SmsCallbacks* callbacks, char**) {
    *mask = SmsRegisterClientProcMask | SmsInteractRequestProcMask | SmsInteractDoneProcMask
        | SmsSaveYourselfRequestProcMask | SmsSaveYourselfP2RequestProcMask | SmsSaveYourselfDoneProcMask
        | SmsCloseConnectionProcMask | SmsSetPropertiesProcMask | SmsDeletePropertiesProcMask
        | SmsGetPropertiesProcMask;
    callbacks->register_client.callback = onRegister;
    callbacks->interact_request.callback = [](SmsConn, SmPointer, int) {};
    callbacks->interact_done.callback = [](SmsConn, SmPointer, Bool) {};
    callbacks->save_yourself_request.callback = [](SmsConn client, SmPointer, int, Bool, int, Bool, Bool) {
        SmsSaveYourself(client, SmSaveLocal, False, SmInteractStyleNone,
                        False); // the first one, as the protocol wants it
    };
    callbacks->save_yourself_phase2_request.callback = [](SmsConn client, SmPointer) { SmsSaveYourselfPhase2(client); };
    callbacks->save_yourself_done.callback = onSaveDone;
    callbacks->close_connection.callback = onClose;
    callbacks->set_properties.callback = onProperties;
    callbacks->delete_properties.callback = [](SmsConn, SmPointer, int, char**) {};
    callbacks->get_properties.callback = [](SmsConn, SmPointer) {};
    return True;
}

} // namespace

int main() {
    char error[256] = {};
    const auto anybody = [](char*) -> Bool { return True; };
    if (!SmsInitialize("Test", "1", onClient, nullptr, anybody, sizeof error, error))
        return EXIT_FAILURE;
    for (const char* const protocol : {"tcp", "inet", "inet6"})
        _IceTransNoListen(protocol);
    int count = 0;
    IceListenObj* listeners = nullptr;
    if (!IceListenForConnections(&count, &listeners, sizeof error, error))
        return EXIT_FAILURE;
    for (int i = 0; i < count; ++i)
        IceSetHostBasedAuthProc(listeners[i], anybody);
    char* const address = IceComposeNetworkIdList(count, listeners);
    say(address);

    IceConn connection = nullptr;
    for (;;) {
        pollfd sources[8] = {};
        nfds_t used = 0;
        if (connection)
            sources[used++] = {IceConnectionNumber(connection), POLLIN, 0};
        if (g_client)
            sources[used++] = {STDIN_FILENO, POLLIN, 0};
        for (int i = 0; !connection && i < count && used < 8; ++i)
            sources[used++] = {IceGetListenConnectionNumber(listeners[i]), POLLIN, 0};
        poll(sources, used, -1);
        if (!connection) {
            for (int i = 0; i < count; ++i) {
                if ((sources[i].revents & POLLIN) == 0)
                    continue;
                IceAcceptStatus status = IceAcceptFailure;
                connection = IceAcceptConnection(listeners[i], &status);
            }
            while (connection && IceConnectionStatus(connection) == IceConnectPending)
                IceProcessMessages(connection, nullptr, nullptr);
            continue;
        }
        if ((sources[0].revents & (POLLIN | POLLHUP)) != 0
            && IceProcessMessages(connection, nullptr, nullptr) == IceProcessMessagesIOError)
            return EXIT_FAILURE;
        char line[16];
        if (g_client && used > 1 && (sources[1].revents & POLLIN) != 0 && read(STDIN_FILENO, line, sizeof line) > 0)
            SmsSaveYourself(g_client, SmSaveBoth, True, SmInteractStyleNone, False);
    }
}
