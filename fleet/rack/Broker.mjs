import { writeFile } from 'node:fs/promises';
import os from 'node:os';
import { freeTcpPort } from './ports.mjs';
import { Program } from './Program.mjs';

const kMosquitto = '/usr/sbin/mosquitto';

/// A mosquitto of one's own, which only this machine reaches. It can be killed and started again.
export class Broker {
  #file;
  #program;

  /// @param folder  for its configuration
  /// @param page  the folder that it serves to browsers
  static async start(folder, page = folder) {
    const broker = new Broker();
    broker.port = await freeTcpPort();
    broker.webPort = await freeTcpPort();
    broker.#file = `${folder}/mosquitto.conf`;
    await writeFile(broker.#file, [
      // As root it would become another user, who cannot read the page.
      `user ${os.userInfo().username}`,
      'allow_anonymous true',
      'persistence false',
      'set_tcp_nodelay true',
      'max_packet_size 262144',
      'log_type error',
      'log_type information',
      `listener ${broker.port} 127.0.0.1`,
      `listener ${broker.webPort} 127.0.0.1`,
      'protocol websockets',
      `http_dir ${page}`,
      '',
    ].join('\n'));
    await broker.startAgain();
    return broker;
  }

  get id() {
    return this.#program.id;
  }

  get page() {
    return `http://127.0.0.1:${this.webPort}/`;
  }

  async startAgain() {
    this.#program = await Program.start(kMosquitto, ['-c', this.#file], / running$/m);
  }

  end() {
    return this.#program.end('SIGKILL');
  }
}
