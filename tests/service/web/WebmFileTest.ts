import assert from 'node:assert/strict';
import test from 'node:test';
import { withDuration } from '../../../service/web/src/WebmFile.js';

const kHeader = '1a45dfa3 84 42868101'; // one child: the version of the format
const kScale = '2ad7b1 83 0f4240'; // a millisecond
const kTens = '2ad7b1 84 00989680'; // ten of them
const kApp = '4d80 82 4142';
const kIndex = '114d9b74 80';
const kCluster = '1f43b675 01ffffffffffffff e7 81 00';
const kOpenSegment = '18538067 01ffffffffffffff';

const kCases: [what: string, file: string, expected: string][] = [
  [
    'no length',
    `${kHeader} ${kOpenSegment} 1549a966 8c ${kScale} ${kApp} ${kCluster}`,
    `${kHeader} ${kOpenSegment} 1549a966 10000017 ${kScale} ${kApp} 4489 88 4093480000000000 ${kCluster}`,
  ],
  [
    'a length of zero, behind another element, in other units',
    `${kHeader} ${kOpenSegment} ${kIndex} 1549a966 94 4489 84 00000000 ${kTens} ${kApp} ${kCluster}`,
    `${kHeader} ${kOpenSegment} ${kIndex} 1549a966 10000018 ${kTens} ${kApp} 4489 88 405ed9999999999a ${kCluster}`,
  ],
  [
    'a size of eight bytes',
    `${kHeader} ${kOpenSegment} 1549a966 010000000000000c ${kScale} ${kApp} ${kCluster}`,
    `${kHeader} ${kOpenSegment} 1549a966 10000017 ${kScale} ${kApp} 4489 88 4093480000000000 ${kCluster}`,
  ],
  ['nothing', '', ''],
  ['zeros', '00000000 00000000', '00000000 00000000'],
  ['another file', '89504e47 0d0a1a0a', '89504e47 0d0a1a0a'],
  ['half a head', `${kHeader} ${kOpenSegment} 1549a966 8c 2ad7`, `${kHeader} ${kOpenSegment} 1549a966 8c 2ad7`],
];

for (const [what, file, expected] of kCases)
  test(`a recording of 1234 ms with ${what}`, async () => {
    const bytes = (text: string) => Buffer.from(text.replaceAll(' ', ''), 'hex');
    const result = await withDuration(new Blob([bytes(file)]), 1234);
    assert.equal(Buffer.from(await result.arrayBuffer()).toString('hex'), bytes(expected).toString('hex'));
  });
