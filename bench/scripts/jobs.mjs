// What the peers written as scripts have in common: they say "ready", take one job a line ({"input", "output"}), and
// answer each with "done", or with what went wrong.
import { createInterface } from 'node:readline';

export async function serve(convert) {
    process.stdout.write('ready\n');
    for await (const line of createInterface({ input: process.stdin })) {
        const { input, output } = JSON.parse(line);
        try {
            await convert(input, output);
            process.stdout.write('done\n');
        } catch (error) {
            process.stdout.write(`${String(error.message).split('\n')[0]}\n`);
        }
    }
}
