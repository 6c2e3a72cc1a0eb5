// Ports of 127.0.0.1 that nothing uses.
import dgram from 'node:dgram';
import { once } from 'node:events';
import net from 'node:net';

export async function freeTcpPort() {
  const server = net.createServer().listen(0, '127.0.0.1');
  await once(server, 'listening');
  const { port } = server.address();
  server.close();
  await once(server, 'close');
  return port;
}

/// All at once, since a port that was closed again may be given a second time.
export async function freeUdpPorts(count) {
  const sockets = Array.from({ length: count }, () => dgram.createSocket('udp4'));
  await Promise.all(sockets.map((socket) => {
    socket.bind(0, '127.0.0.1');
    return once(socket, 'listening');
  }));
  const ports = sockets.map((socket) => socket.address().port);
  await Promise.all(sockets.map((socket) => {
    socket.close();
    return once(socket, 'close');
  }));
  return ports;
}
