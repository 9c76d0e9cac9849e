// Loopback ports for servers of the tests.

import { once } from 'node:events';
import { createServer } from 'node:net';

/// The address of the server, which listens until the test ends: on any free port, or on this one.
export async function listen(t, server, port = 0) {
    server.listen(port, '127.0.0.1');
    await once(server, 'listening');
    t.after(() => server.close());
    return `127.0.0.1:${server.address().port}`;
}

/// A port that is free now, though somebody may take it later.
export async function freePort() {
    const server = createServer().listen(0, '127.0.0.1');
    await once(server, 'listening');
    const { port } = server.address();
    server.close();
    await once(server, 'close');
    return port;
}
