function [result, log] = trelrun(model, varargin)
% TRELRUN  Run a model and read its results.
%   result = trelrun('beam.trl', 'packets', 1e6, 'seed', 7) starts the program trelrun and reads
%   what it writes by TRELREAD. Names and values are the options of docs/trelrun.md without their
%   dashes; true stands for an option without a value ('keep-batches', true). 'o' is the base name
%   of the results; without it they are beam.nc in the current folder. The program is in the folder
%   that the environment variable TREL_BIN names, or on the PATH.
%   [result, log] = trelrun(...) has what the program has printed, too.
  program = 'trelrun';
  if ~isempty(getenv('TREL_BIN'))
    program = fullfile(getenv('TREL_BIN'), program);
  end
  [~, base] = fileparts(model);
  command = [quote(program) ' ' quote(model) ' --progress none'];
  if mod(numel(varargin), 2) ~= 0
    error('trelrun:options', 'options are names and values');
  end
  for k = 1:2:numel(varargin)
    [name, value] = varargin{k:k + 1};
    if strcmp(name, 'o')
      base = regexprep(value, '\.nc$', '');
    elseif islogical(value) && value
      command = [command ' --' name];
    elseif ischar(value)
      command = [command ' --' name ' ' quote(value)];
    elseif ~islogical(value)
      command = [command ' --' name ' ' num2str(value, 17)];
    end
  end
  [status, log] = system([command ' -o ' quote(base) ' 2>&1']);
  if status ~= 0
    error('trelrun:failed', 'trelrun failed with status %d\n%s', status, log);
  end
  result = trelread([base '.nc']);
end

function word = quote(word)
  word = ['''' strrep(word, '''', '''\''''') ''''];
end
