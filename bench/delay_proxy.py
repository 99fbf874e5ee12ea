#!/usr/bin/env python3
"""Adds a round trip to a server on 127.0.0.1: bench/delay_proxy.py PORT MILLISECONDS. Prints its own
URL; ends with its standard input."""

import asyncio
import contextlib
import sys

PIECE = 1 << 18
relays = set()  # under way; the loop by itself would let them be collected


async def relay(client, to_client, port, round_trip):
    """What the server sends arrives later by the round trip, and the first bytes of a connection
    wait as long for the handshake that a distant server would need."""
    loop, itself = asyncio.get_running_loop(), asyncio.current_task()
    relays.add(itself)
    itself.add_done_callback(relays.discard)
    server, to_server = await asyncio.open_connection("127.0.0.1", port)
    connected = loop.time() + round_trip

    async def answers():
        while piece := await server.read(PIECE):
            loop.call_later(round_trip, to_client.write, piece)
        loop.call_later(round_trip, to_client.close)

    arriving = asyncio.create_task(answers())
    with contextlib.suppress(OSError):
        while piece := await client.read(PIECE):
            await asyncio.sleep(connected - loop.time())
            to_server.write(piece)
        to_server.close()
        await arriving


async def main(port, milliseconds):
    proxy = await asyncio.start_server(
        lambda client, to_client: relay(client, to_client, port, milliseconds / 1000), "127.0.0.1")
    print(f"http://127.0.0.1:{proxy.sockets[0].getsockname()[1]}/", flush=True)
    await asyncio.get_running_loop().run_in_executor(None, sys.stdin.read)


asyncio.run(main(*map(int, sys.argv[1:])))
