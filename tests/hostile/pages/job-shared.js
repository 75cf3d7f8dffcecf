let kept = ''; onconnect = (e) => { const port = e.ports[0]; port.onmessage = (m) => { if (m.data !== '?') kept = m.data; port.postMessage(kept); }; };
