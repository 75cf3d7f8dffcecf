setInterval(() => fetch('@WEB@/ping?after-shared'), 200); onconnect = () => fetch('@WEB@/ping?after-shared');
