// Numbers, sizes, durations and times as text. Times of the store are UTC.

const kWhole = new Intl.NumberFormat('en-GB', { maximumFractionDigits: 0 });
const kShort = new Intl.NumberFormat('en-GB', { maximumSignificantDigits: 4 });

export const whole = (value) => kWhole.format(value);
export const short = (value) => kShort.format(value);

export function share(part, total) {
  if (!total) {
    return '–';
  }
  const percent = (100 * part) / total;
  return `${percent > 0 && percent < 10 ? percent.toFixed(1) : Math.round(percent)} %`;
}

export function bytes(count) {
  const units = ['bytes', 'KB', 'MB', 'GB', 'TB'];
  let unit = 0;
  let value = count;
  while (value >= 1024 && unit < units.length - 1) {
    value /= 1024;
    unit += 1;
  }
  return `${unit === 0 ? whole(value) : value.toFixed(value < 10 ? 1 : 0)} ${units[unit]}`;
}

export function duration(milliseconds) {
  const seconds = Math.max(0, milliseconds) / 1000;
  if (seconds < 60) {
    return `${seconds < 10 ? seconds.toFixed(1) : Math.round(seconds)} s`;
  }
  const minutes = Math.floor(seconds / 60);
  if (minutes < 60) {
    return `${minutes} min ${Math.round(seconds % 60)} s`;
  }
  return `${Math.floor(minutes / 60)} h ${String(minutes % 60).padStart(2, '0')} min`;
}

const iso = (time) => {
  const date = new Date(Number(time));
  return Number.isNaN(date.getTime()) ? '' : date.toISOString();
};

// 2026-11-23 10:15:42
export const moment = (time) => iso(time).slice(0, 19).replace('T', ' ') || '–';
// 2026-11-23 10:15
export const minute = (time) => iso(time).slice(0, 16).replace('T', ' ') || '–';
// 2026-11-23
export const day = (time) => iso(time).slice(0, 10) || '–';
// 10:15:42.001
export const clock = (time) => iso(time).slice(11, 23) || '–';

// The clock time in a record's own time stamp, which is local time with an offset.
export const clockOf = (stamp) =>
  (/T(\d\d:\d\d:\d\d(\.\d{1,3})?)/.exec(String(stamp)) ?? ['', '–'])[1];

export const plural = (count, one, many = `${one}s`) => `${whole(count)} ${count === 1 ? one : many}`;
