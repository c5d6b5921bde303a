/** Firmware and import of the stand-in process, by the same rules. Progress comes when a test says so. */
export class FakeMaintenance {
    constructor(options, send) {
        this.options = options;
        this.send = send;
        /** The file or the version that is being installed. */
        this.upgrading = null;
        this.version = '';
        this.import = null;
    }

    local({ SubType, FileName }, reply) {
        const answer = (keys) => reply({ ...keys, SubMsg: 1 });
        if (SubType === 0) return answer(this.options.picked ? { nRet: 100, Path: this.options.picked } : { nRet: 1016 });
        if (SubType === 1) return this.begin(FileName, answer);
    }

    online({ SubType }, reply) {
        if (SubType === 0) {
            if (this.options.firmware === null) return reply({ Ret: -1, NewVersion: this.version });
            this.version = this.options.firmware ?? this.version;
            return reply({ Ret: 2884, NewVersion: this.version });
        }
        if (SubType === 1) return this.begin(this.version, reply);
        reply({ Ret: 0 });
    }

    begin(what, reply) {
        const Ret = this.options.upgradeRet ?? 100;
        if (Ret === 100) this.upgrading = what;
        reply({ Ret });
    }

    progress(Status, SendSize, TotalSize = 1000) {
        if (Status === 1 || Status === 3) this.upgrading = null;
        this.send({ MainEvent: 3, SubEvent: 0, Data: { Status, TotalSize, SendSize } });
    }

    importFile(request) {
        const { SubType, MsgID } = request;
        if (!(SubType >= 0 && SubType <= 4)) return;
        this.import = { SubType, MsgID };
        if (this.options.pickerFails) return;
        if (SubType <= 1 && !this.options.picked) return this.imported(1014);
        const { importRet } = this.options;
        if (importRet === undefined) return SubType === 0 ? this.imported(100) : undefined;
        if (SubType <= 1) this.imported(importRet);
        else this.send({ Msg: 30, SubMsg: SubType, MsgID, Ret: importRet });
    }

    /** The end of a transfer. */
    imported(nRet) {
        this.send({ Msg: 30, SubMsg: this.import.SubType, MsgID: this.import.MsgID, nRet });
    }
}
