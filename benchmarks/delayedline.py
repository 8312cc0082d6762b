"""A long line to a server nearby: a relay on the loopback address that holds back what it is sent,
in each direction for as long, in order, at any rate."""

import asyncio
import contextlib
import threading


async def _carry(reader, writer, delay):
    """Hands on what comes, each piece `delay` seconds after it has come, and in the end the end."""
    held = asyncio.Queue()

    async def hand_on():
        while True:
            due, piece = await held.get()
            await asyncio.sleep(due - loop.time())
            if not piece:
                break
            writer.write(piece)
        writer.close()

    loop = asyncio.get_running_loop()
    handing_on = asyncio.create_task(hand_on())
    piece = b"-"
    while piece:
        try:
            piece = await reader.read(1 << 16)
        except ConnectionError:
            piece = b""
        held.put_nowait((loop.time() + delay, piece))
    await handing_on


@contextlib.contextmanager
def delayed_line(port, round_trip):
    """The port of a line to `port` on which an answer comes after `round_trip` seconds."""
    started = threading.Event()
    ready = {}

    async def connect(reader, writer):
        server_reader, server_writer = await asyncio.open_connection("127.0.0.1", port)
        with contextlib.suppress(asyncio.CancelledError):  # the line is not needed any more
            await asyncio.gather(_carry(reader, server_writer, round_trip / 2),
                                 _carry(server_reader, writer, round_trip / 2))

    async def serve():
        server = await asyncio.start_server(connect, "127.0.0.1", 0)
        ready["stop"], ready["loop"] = asyncio.Event(), asyncio.get_running_loop()
        ready["port"] = server.sockets[0].getsockname()[1]
        started.set()
        await ready["stop"].wait()
        server.close()

    thread = threading.Thread(target=asyncio.run, args=(serve(),))
    thread.start()
    started.wait()
    try:
        yield ready["port"]
    finally:
        ready["loop"].call_soon_threadsafe(ready["stop"].set)
        thread.join()
