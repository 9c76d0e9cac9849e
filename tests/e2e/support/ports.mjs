// Loopback ports for what the tests start.

import { once } from 'node:events';
import { createServer } from 'node:net';

/// Where the server listens until the test ends: on any free port, or this one.
export async function listen(t, server, port = 0) {
    server.listen(port, '127.0.0.1');
    await once(server, 'listening');
    t.after(() => server.close());
    return `127.0.0.1:${server.address().port}`;
}

/// Nobody has it, though somebody may come to.
export async function freePort() {
    const server = createServer().listen(0, '127.0.0.1');
    await once(server, 'listening');
    const { port } = server.address();
    server.close();
    await once(server, 'close');
    return port;
}
