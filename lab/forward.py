"""Makes a server inside a namespace reachable on this machine's loopback address."""

import asyncio
import socket
import threading


class Forwarder:
    """Hands on TCP connections from 127.0.0.1 to places inside namespaces. A context manager with a thread of its own."""

    def __init__(self):
        self._loop = asyncio.new_event_loop()
        self._thread = threading.Thread(target=self._loop.run_forever, name="forwarder", daemon=True)

    def __enter__(self):
        self._thread.start()
        return self

    def __exit__(self, *_):
        async def end_all():
            others = asyncio.all_tasks() - {asyncio.current_task()}
            for task in others:
                task.cancel()
            await asyncio.gather(*others, return_exceptions=True)

        asyncio.run_coroutine_threadsafe(end_all(), self._loop).result()
        self._loop.call_soon_threadsafe(self._loop.stop)
        self._thread.join()
        self._loop.close()

    def open(self, namespace, address, port, wanted_port):
        """Listens on 127.0.0.1 at the wanted port, or at a free one when that is taken; the port."""

        async def handle(reader, writer):
            await self._serve(namespace, (address, port), reader, writer)

        async def listen():
            try:
                return await asyncio.start_server(handle, "127.0.0.1", wanted_port)
            except OSError:
                return await asyncio.start_server(handle, "127.0.0.1", 0)

        server = asyncio.run_coroutine_threadsafe(listen(), self._loop).result()
        return server.sockets[0].getsockname()[1]

    async def _serve(self, namespace, target, reader, writer):
        try:
            inside = await asyncio.wrap_future(namespace.submit(socket.create_connection, target, 5))
            inside_reader, inside_writer = await asyncio.open_connection(sock=inside)
            await asyncio.gather(_pump(reader, inside_writer), _pump(inside_reader, writer))
        except OSError:
            pass  # one side has gone; so does the other
        finally:
            writer.close()


async def _pump(reader, writer):
    try:
        while data := await reader.read(65536):
            writer.write(data)
            await writer.drain()
    finally:
        writer.close()
