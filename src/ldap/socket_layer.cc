#include "ldap/socket_layer.h"

#include <lber.h>
#include <sys/socket.h>

namespace configapi {
namespace {

// A layer of the LDAP library's input and output, above the socket and below
// encryption.

int keep_nothing(Sockbuf_IO_Desc* /*layer*/, void* /*arg*/) {
  return 0;
}

int release_nothing(Sockbuf_IO_Desc* /*layer*/) {
  return 0;
}

int control(Sockbuf_IO_Desc* layer, int option, void* arg) {
  return LBER_SBIOD_CTRL_NEXT(layer, option, arg);
}

int descriptor(Sockbuf_IO_Desc* layer) {
  int fd = -1;
  ber_sockbuf_ctrl(layer->sbiod_sb, LBER_SB_OPT_GET_FD, &fd);
  return fd;
}

ber_slen_t read(Sockbuf_IO_Desc* layer, void* buffer, ber_len_t size) {
  return recv(descriptor(layer), buffer, size, MSG_DONTWAIT);
}

ber_slen_t write(Sockbuf_IO_Desc* layer, void* buffer, ber_len_t size) {
  return send(descriptor(layer), buffer, size, MSG_NOSIGNAL);
}

Sockbuf_IO bounded_io = {keep_nothing, release_nothing, control,
                         read,         write,           release_nothing};

int add_layer(LDAP* /*ld*/, Sockbuf* socket, LDAPURLDesc* /*server*/,
              sockaddr* /*address*/, ldap_conncb* /*callbacks*/) {
  constexpr int kAboveSocket = LBER_SBIOD_LEVEL_PROVIDER + 1;
  return ber_sockbuf_add_io(socket, &bounded_io, kAboveSocket, nullptr);
}

void keep_layer(LDAP* /*ld*/, Sockbuf* /*socket*/, ldap_conncb* /*callbacks*/) {
}

ldap_conncb on_connect = {add_layer, keep_layer, nullptr};

}  // namespace

bool layer_sockets(LDAP* ld) {
  return ldap_set_option(ld, LDAP_OPT_CONNECT_CB, &on_connect) ==
         LDAP_OPT_SUCCESS;
}

}  // namespace configapi
