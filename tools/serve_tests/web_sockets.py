#!/usr/bin/python3
"""A web socket client that goes through a proxy, and the server that it talks to.  web_sockets.py PROXY HOST…

Prints a JSON object: what each host said, and the requests that the server got. It wants Debian's python3-websockets, so
the system's Python."""
import asyncio
import json
import socket
import sys

import websockets

LARGE = bytes(range(256)) * 1200  # in frames of several kinds of length


def tunnel(proxy, host, port):
    """A connection that CONNECT has opened, as far as the client knows."""
    address, number = proxy.rsplit(':', 1)
    client = socket.create_connection((address, int(number)), timeout=60)
    client.sendall(f'CONNECT {host}:{port} HTTP/1.1\r\nHost: {host}:{port}\r\n\r\n'.encode())
    said = b''
    while not said.endswith(b'\r\n\r\n'):
        piece = client.recv(1)
        if not piece:
            raise ConnectionError(said)
        said += piece
    if not said.startswith(b'HTTP/1.1 200 '):
        raise ConnectionError(said)
    return client


async def talk(proxy, host, port):
    client = await asyncio.to_thread(tunnel, proxy, host, port)
    try:
        async with websockets.connect(f'ws://{host}:{port}/chat', sock=client) as web_socket:
            await web_socket.send('grüß dich')
            text = await web_socket.recv()
            await web_socket.send(LARGE)
            large = await web_socket.recv()
            await asyncio.wait_for(await web_socket.ping(), 30)
        return {'text': text, 'large': large == LARGE, 'closed': web_socket.close_code}
    except websockets.InvalidStatusCode as error:
        return {'status': error.status_code}


async def main():
    proxy, *hosts = sys.argv[1:]
    paths = []

    async def echo(web_socket):
        paths.append(f'{web_socket.request_headers["Host"].split(":")[0]}{web_socket.path}')
        async for message in web_socket:
            await web_socket.send(message)

    async with websockets.serve(echo, '127.0.0.1', 0) as server:
        port = server.sockets[0].getsockname()[1]
        said = {host: await talk(proxy, host, port) for host in hosts}
    print(json.dumps({'said': said, 'asked': paths}))


asyncio.run(asyncio.wait_for(main(), 120))
