#include "ldap/quiet_socket.h"

#include <lber.h>
#include <sys/socket.h>

namespace configapi {
namespace {

// A layer of the LDAP library's input and output, above the socket and below
// encryption. All but writes is passed on.

int keep_nothing(Sockbuf_IO_Desc* /*layer*/, void* /*arg*/) {
  return 0;
}

int release_nothing(Sockbuf_IO_Desc* /*layer*/) {
  return 0;
}

int control(Sockbuf_IO_Desc* layer, int option, void* arg) {
  return LBER_SBIOD_CTRL_NEXT(layer, option, arg);
}

ber_slen_t read(Sockbuf_IO_Desc* layer, void* buffer, ber_len_t size) {
  return LBER_SBIOD_READ_NEXT(layer, buffer, size);
}

ber_slen_t write(Sockbuf_IO_Desc* layer, void* buffer, ber_len_t size) {
  int fd = -1;
  ber_sockbuf_ctrl(layer->sbiod_sb, LBER_SB_OPT_GET_FD, &fd);
  return send(fd, buffer, size, MSG_NOSIGNAL);
}

Sockbuf_IO quiet_writes = {keep_nothing, release_nothing, control,
                           read,         write,           release_nothing};

}  // namespace

bool make_socket_quiet(LDAP* ld) {
  constexpr int kAboveSocket = LBER_SBIOD_LEVEL_PROVIDER + 1;
  Sockbuf* socket = nullptr;
  return ldap_get_option(ld, LDAP_OPT_SOCKBUF, &socket) == LDAP_OPT_SUCCESS &&
         ber_sockbuf_add_io(socket, &quiet_writes, kAboveSocket, nullptr) == 0;
}

}  // namespace configapi
